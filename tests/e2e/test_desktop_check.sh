#!/usr/bin/env bash
# Checks the desktop every end-to-end test runs in: the X extensions the
# capture code relies on, a compositing manager, the "speakers" sink and the
# fake microphone as defaults, audio that really flows through the microphone,
# and a home folder that is not the user's.
set -euo pipefail
# shellcheck source=../check-helpers.sh
source "$(dirname "$0")/../check-helpers.sh"

[[ -n ${FRAMEDECK_DESKTOP_DIR:-} && -n ${DISPLAY:-} ]] ||
  give_up "not on the test desktop: run through scripts/test-desktop run -- ctest …"

extensions=$(xdpyinfo -queryExtensions)
for ext in MIT-SHM XFIXES RANDR XInputExtension Composite XTEST; do
  grep -q "^ *$ext " <<<"$extensions" || give_up "X extension $ext is missing"
done
# Outputs are read whole first: grep -q stopping early would fail the pipe.
screen=$(xdpyinfo -ext XInputExtension)
grep -q "XInputExtension version 2" <<<"$screen" || give_up "XInput 2 is missing"
grep -q "dimensions: *1920x1080 pixels" <<<"$screen" || give_up "the screen is not 1920x1080"
grep -q "depth of root window: *24 planes" <<<"$screen" || give_up "the screen is not 24-bit"
windows=$(xwininfo -root -children)
grep -q '"xcompmgr"' <<<"$windows" || give_up "no compositing manager"

info=$(pactl info)
grep -qx "Default Sink: speakers" <<<"$info" || give_up "the default sink is not \"speakers\""
grep -qx "Default Source: fake_mic" <<<"$info" || give_up "the default source is not the fake microphone"

# One second from the microphone while a tone plays into its feed. The length
# is counted in bytes, not waited for; the small latency keeps parec from
# holding the audio back in its buffer.
work=$(mktemp -d)
trap 'stop_all; rm -rf "$work"' EXIT
format=(--raw --format=s16le --rate=48000 --channels=1)
sox -V1 -n -t raw -r 48000 -e signed -b 16 -c 1 "$work/tone.raw" synth 10 sine 440 vol 0.5
pacat --playback --latency-msec=20 -d "${FRAMEDECK_DESKTOP_MIC_FEED:?}" "${format[@]}" <"$work/tone.raw" &
pids+=($!)
{ parec --latency-msec=20 -d fake_mic "${format[@]}" 2>/dev/null || true; } |
  head -c 96000 >"$work/mic.raw"
rms=$(sox -t raw -r 48000 -e signed -b 16 -c 1 "$work/mic.raw" -n stat 2>&1 |
  awk '/RMS +amplitude/ { print $3 }')
awk -v rms="${rms:-0}" 'BEGIN { exit !(rms > 0.05) }' || give_up "the fake microphone recorded silence (RMS ${rms:-none})"

real_home=$(getent passwd "$(id -u)" | cut -d: -f6)
[[ $HOME != "$real_home" && $(readlink -f "$HOME") != $(readlink -f "$real_home") ]] ||
  give_up "HOME is the real home $real_home"
for var in XDG_CONFIG_HOME XDG_CACHE_HOME XDG_DATA_HOME; do
  [[ ${!var:-} == "$HOME"/* ]] || give_up "$var is not inside the private HOME"
done
[[ -d $HOME && -w $HOME ]] || give_up "the private HOME $HOME is not a writable folder"
echo "test desktop OK (fake microphone RMS $rms)"
