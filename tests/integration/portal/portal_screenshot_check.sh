#!/usr/bin/env bash
# `framedeck screenshot` on the Wayland test desktop, where the picture comes
# from the desktop portal's Screenshot interface: the PNG is the monitor's
# size, shows the desktop's background where nothing else is drawn, and is
# listed with the recordings; without --output it lands in the recordings
# folder under a date-time name.
#
#   portal_screenshot_check.sh FRAMEDECK SOURCE_DIR
set -euo pipefail
# shellcheck source=../../check-helpers.sh
source "$(dirname "$0")/../../check-helpers.sh"
[[ ${1:-} == --inside ]] || on_wayland_desktop "$0" "$@"
framedeck=$2
logs="$FRAMEDECK_DESKTOP_DIR/log/xdg-desktop-portal*.log"
background=$(desktop_background)

shot=$HOME/shots/one.png
printed=$("$framedeck" screenshot --output "$shot") || fail "screenshot --output exited with $?"
[[ $printed == "$shot" ]] || fail "it printed '$printed', not '$shot'"
if [[ -s $shot ]]; then
  expect_size "$shot" 1920x1080 "the picture"
  seen=$(pixel "$shot" 0 960 700)
  # A PNG keeps the colour exactly.
  [[ $seen == "$background" ]] || fail "the background at 960,700 is '$seen', not '$background'"
else
  fail "no picture at $shot"
fi

listed=$(cat "${XDG_CACHE_HOME:-$HOME/.cache}/org.framedeck.FrameDeck/filelist.plist" 2>/dev/null || true)
[[ $listed == *one.png* ]] || fail "the picture is not in the recorded-file list"

default=$("$framedeck" screenshot) || fail "screenshot without --output exited with $?"
[[ $default == */FrameDeck/*.png && -s $default ]] || fail "no picture in the recordings folder: '$default'"

finish "portal screenshot" "taken through the portal, checked and listed"
