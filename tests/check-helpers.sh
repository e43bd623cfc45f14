# shellcheck shell=bash
# Shared by the shell checks (sourced): failures, waiting, processes started
# in the background, and what FFmpeg reads in a recording.

# fail MESSAGE: a check failed; the script goes on and finish reports it.
# give_up MESSAGE: the script cannot go on. Both show the tails of the logs
# named in $logs (a pattern, expanded when used), when there are any.
failures=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}
show_logs() {
  # shellcheck disable=SC2086 # $logs is a pattern
  [[ -z ${logs:-} ]] || tail -n 20 $logs >&2 || true
}
give_up() {
  echo "FAIL: $*" >&2
  show_logs
  exit 1
}
# finish NAME SUMMARY: the end of a check, failed when any check failed.
finish() {
  if ((failures)); then
    echo "$1: $failures check(s) failed" >&2
    show_logs
    exit 1
  fi
  echo "$1: $2"
}

# Bounded only so that something that never comes fails with a message.
wait_until() {
  local step
  for ((step = 0; step < 200; step++)); do
    "$@" && return 0
    sleep 0.1
  done
  return 1
}
has_bus_name() {
  dbus-send --session --print-reply=literal --dest=org.freedesktop.DBus /org/freedesktop/DBus \
    org.freedesktop.DBus.NameHasOwner "string:$1" 2>/dev/null | grep -q true
}

# Processes started in the background add themselves to pids; stop_all ends
# them, the last started first.
pids=()
stop_all() {
  local i step
  for ((i = ${#pids[@]} - 1; i >= 0; i--)); do
    kill "${pids[i]}" 2>/dev/null || true
    for ((step = 0; step < 50; step++)); do
      kill -0 "${pids[i]}" 2>/dev/null || break
      sleep 0.1
    done
    kill -9 "${pids[i]}" 2>/dev/null || true
    wait "${pids[i]}" 2>/dev/null || true
  done
}

# on_wayland_desktop SCRIPT FRAMEDECK SOURCE_DIR: runs the check again inside
# a Wayland test desktop of its own, with FRAMEDECK as its argument.
on_wayland_desktop() {
  exec "$3/scripts/test-desktop" --wayland run -- bash "$1" --inside "$2"
}
# The test desktop's background colour as "R G B".
desktop_background() {
  printf '%d %d %d' "0x${FRAMEDECK_DESKTOP_BACKGROUND:1:2}" "0x${FRAMEDECK_DESKTOP_BACKGROUND:3:2}" \
    "0x${FRAMEDECK_DESKTOP_BACKGROUND:5:2}"
}

# probe FILE ENTRY: one field of the video stream (width, height) or the file (duration).
probe() {
  local section=stream
  [[ $2 != duration ]] || section=format
  ffprobe -v error -select_streams v:0 -show_entries "$section=$2" -of csv=p=0 "$1" | head -n1
}
# expect_size FILE WIDTHxHEIGHT WHAT: the file's picture has that size.
expect_size() {
  local size
  size=$(probe "$1" width)x$(probe "$1" height)
  [[ $size == "$2" ]] || fail "$3 is $size, not $2"
}

# pixel FILE SECONDS X Y: the colour there as "R G B" (X and Y even: the
# picture's colour is stored for 2x2 blocks, so the crop takes one).
pixel() {
  { ffmpeg -v error -ss "$2" -i "$1" -frames:v 1 -vf "crop=2:2:$3:$4" -f rawvideo -pix_fmt rgb24 - || true; } |
    head -c 3 | od -An -tu1 | xargs
}

# near "R G B" "R G B" [TOLERANCE]: each channel within the encoder's rounding.
near() {
  local a b i tolerance=${3:-12}
  read -ra a <<<"$1"
  read -ra b <<<"$2"
  ((${#a[@]} == 3 && ${#b[@]} == 3)) || return 1
  for i in 0 1 2; do
    ((a[i] - b[i] <= tolerance && b[i] - a[i] <= tolerance)) || return 1
  done
}
