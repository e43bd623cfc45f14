#!/usr/bin/env bash
# `framedeck screenshot` on the Wayland test desktop, where the picture comes
# from the desktop portal's Screenshot interface: the PNG is the monitor's
# size, shows the desktop's background where nothing else is drawn, and is
# listed with the recordings; without --output it lands in the recordings
# folder under a date-time name.
#
#   portal_screenshot_check.sh FRAMEDECK SOURCE_DIR
set -euo pipefail

if [[ ${1:-} != --inside ]]; then
  framedeck=$1 source_dir=$2
  exec "$source_dir/scripts/test-desktop" --wayland run -- bash "$0" --inside "$framedeck"
fi
framedeck=$2
failures=0

fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

# pixel FILE X Y: the colour there as "R G B".
pixel() {
  { ffmpeg -v error -i "$1" -vf "crop=1:1:$2:$3" -f rawvideo -pix_fmt rgb24 - || true; } | head -c 3 | od -An -tu1 | xargs
}

background=$(printf '%d %d %d' "0x${FRAMEDECK_DESKTOP_BACKGROUND:1:2}" "0x${FRAMEDECK_DESKTOP_BACKGROUND:3:2}" \
  "0x${FRAMEDECK_DESKTOP_BACKGROUND:5:2}")

shot=$HOME/shots/one.png
printed=$("$framedeck" screenshot --output "$shot") || fail "screenshot --output exited with $?"
[[ $printed == "$shot" ]] || fail "it printed '$printed', not '$shot'"
if [[ -s $shot ]]; then
  size=$(ffprobe -v error -show_entries stream=width,height -of csv=p=0:s=x "$shot")
  [[ $size == 1920x1080 ]] || fail "the picture is $size, not 1920x1080"
  seen=$(pixel "$shot" 960 700)
  # A PNG keeps the colour exactly.
  [[ $seen == "$background" ]] || fail "the background at 960,700 is '$seen', not '$background'"
else
  fail "no picture at $shot"
fi

listed=$(cat "${XDG_CACHE_HOME:-$HOME/.cache}/org.framedeck.FrameDeck/filelist.plist" 2>/dev/null || true)
[[ $listed == *one.png* ]] || fail "the picture is not in the recorded-file list"

default=$("$framedeck" screenshot) || fail "screenshot without --output exited with $?"
[[ $default == */FrameDeck/*.png && -s $default ]] || fail "no picture in the recordings folder: '$default'"

if ((failures)); then
  echo "portal screenshot: $failures check(s) failed; the desktop's logs:" >&2
  tail -n 20 "$FRAMEDECK_DESKTOP_DIR"/log/xdg-desktop-portal*.log >&2 || true
  exit 1
fi
echo "portal screenshot: taken through the portal, checked and listed"
