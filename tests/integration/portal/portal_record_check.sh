#!/usr/bin/env bash
# Records the Wayland test desktop through the screen-cast portal with the
# real `framedeck record` and checks the files with FFmpeg:
# - full screen: 1920x1080, as long as asked, the desktop's background colour
#   where nothing else is drawn, and the bar's clock changing from frame to
#   frame (the portal sends pictures only when the screen changes, so this
#   also shows that pictures kept coming);
# - an area: the crop's size, and its pixels those of the same place in the
#   full-screen recording;
# - the portal's restore token is kept across recordings.
#
#   portal_record_check.sh FRAMEDECK SOURCE_DIR
set -euo pipefail
# shellcheck source=../../check-helpers.sh
source "$(dirname "$0")/../../check-helpers.sh"
[[ ${1:-} == --inside ]] || on_wayland_desktop "$0" "$@"
framedeck=$2
out=$HOME/recordings
mkdir -p "$out"
logs="$FRAMEDECK_DESKTOP_DIR/log/xdg-desktop-portal*.log"
settings=${XDG_CONFIG_HOME:-$HOME/.config}/FrameDeck/FrameDeck.conf
# The token as the settings hold it.
kept_token() { sed -n 's/^ScreenCastRestoreToken_0_0=//p' "$settings" 2>/dev/null | head -n1; }
seconds=3
background=$(desktop_background)

record() {
  "$framedeck" record --backend portal --audio none --format mp4 --fps 30 --seconds "$seconds" "$@"
}

# strip_hash FILE SECONDS: a checksum of the top strip (the bar with the clock).
strip_hash() {
  { ffmpeg -v error -ss "$2" -i "$1" -frames:v 1 -vf crop=1920:40:0:0 -f rawvideo -pix_fmt gray - || true; } |
    md5sum | cut -c1-32
}

check_duration() {
  local duration
  duration=$(probe "$1" duration)
  awk -v d="$duration" -v s="$seconds" 'BEGIN { exit !(d >= s - 0.4 && d <= s + 0.6) }' ||
    fail "$1 lasts $duration s, not about $seconds s"
}

# --- full screen
full=$out/full.mp4
record --mode full --output "$full" || fail "full-screen recording exited with $?"
if [[ -s $full ]]; then
  expect_size "$full" 1920x1080 "full screen"
  check_duration "$full"
  seen=$(pixel "$full" 1.5 960 700)
  near "$seen" "$background" || fail "the background at 960,700 is '$seen', not '$background'"
  # The clock shows hundredths of a second: pictures half a second apart differ.
  [[ $(strip_hash "$full" 0.5) != "$(strip_hash "$full" 1.0)" ]] ||
    fail "the bar's clock did not change between 0.5 s and 1.0 s"
  [[ $(strip_hash "$full" 1.0) != "$(strip_hash "$full" 2.5)" ]] ||
    fail "the bar's clock did not change between 1.0 s and 2.5 s"
else
  fail "no full-screen file"
fi

# --- the choice is kept
first_token=$(kept_token)
[[ -n $first_token ]] || fail "no restore token kept in $settings"

# --- an area, through the restored session
area=$out/area.mp4
record --mode area --area 800,600,640,360 --output "$area" || fail "area recording exited with $?"
if [[ -s $area ]]; then
  expect_size "$area" 640x360 "the area"
  check_duration "$area"
  # 960,700 on the screen is 160,100 in the area.
  seen=$(pixel "$area" 1.5 160 100)
  near "$seen" "$background" || fail "the area's pixel at 160,100 is '$seen', not '$background'"
else
  fail "no area file"
fi
# The restored session hands out a token again (the same one, with this
# portal), so a third recording restores too.
second_token=$(kept_token)
[[ -n $first_token && -n $second_token ]] || fail "the second recording kept no restore token"

finish "portal recording" "full screen and area recorded and checked"
