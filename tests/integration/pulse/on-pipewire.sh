#!/usr/bin/env bash
# Runs a command against PipeWire's pulse server instead of PulseAudio, with
# the devices the test desktop has ("speakers", a fake microphone fed by
# "fake_mic_feed"), so the routing tests can be run there too:
#
#   tests/integration/pulse/on-pipewire.sh build-audio/bin/integration_pulse_routing
#
# pipewire, wireplumber and pipewire-pulse run on a private D-Bus session bus
# in a temporary runtime folder and are stopped afterwards. Needs the Debian
# packages pipewire, pipewire-pulse and wireplumber; without them it exits
# with 77, which ctest counts as skipped.
set -euo pipefail
(($#)) || { sed -n '2,10p' "$0" >&2; exit 2; }
for tool in pipewire wireplumber pipewire-pulse dbus-daemon pactl; do
  command -v "$tool" >/dev/null || { echo "on-pipewire: $tool is not installed" >&2; exit 77; }
done

# shellcheck source=../../check-helpers.sh
source "$(dirname "$0")/../../check-helpers.sh"
dir=$(mktemp -d "${TMPDIR:-/tmp}/framedeck-pipewire.XXXXXX")
trap 'stop_all; rm -rf "$dir"' EXIT

mkdir -p "$dir/runtime" "$dir/home" "$dir/log"
chmod 700 "$dir/runtime"
export XDG_RUNTIME_DIR=$dir/runtime HOME=$dir/home XDG_CONFIG_HOME=$dir/home/.config
export PULSE_SERVER=unix:$dir/runtime/pulse/native DISPLAY=
unset PULSE_COOKIE PULSE_CLIENTCONFIG

dbus-daemon --session --nofork --nopidfile --address="unix:path=$dir/runtime/bus" \
  >"$dir/log/dbus.log" 2>&1 &
pids+=($!)
export DBUS_SESSION_BUS_ADDRESS=unix:path=$dir/runtime/bus
# PipeWire looks for the bus once, at start.
wait_until test -S "$dir/runtime/bus" || true
# Each server needs the one before it; pipewire-pulse is up once pactl answers.
started() {
  "$1" >"$dir/log/$1.log" 2>&1 &
  pids+=($!)
  shift
  wait_until "$@" || true
}
started pipewire test -S "$dir/runtime/pipewire-0"
started wireplumber sleep 0.5
started pipewire-pulse eval 'pactl info >/dev/null 2>&1'
pactl info >/dev/null || { tail "$dir"/log/*.log >&2; exit 1; }

pactl load-module module-null-sink sink_name=speakers \
  'sink_properties="device.description=Speakers device.form_factor=internal"' >/dev/null
pactl load-module module-null-sink sink_name=fake_mic_feed \
  "sink_properties=\"device.description='Fake microphone feed'\"" >/dev/null
pactl load-module module-remap-source master=fake_mic_feed.monitor source_name=fake_mic \
  "source_properties=\"device.description='Fake microphone' device.form_factor=internal\"" >/dev/null
pactl set-default-sink speakers
pactl set-default-source fake_mic

export FRAMEDECK_DESKTOP_DIR=$dir FRAMEDECK_DESKTOP_SINK=speakers
export FRAMEDECK_DESKTOP_MIC=fake_mic FRAMEDECK_DESKTOP_MIC_FEED=fake_mic_feed
"$@"
