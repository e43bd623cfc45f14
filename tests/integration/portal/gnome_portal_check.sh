#!/usr/bin/env bash
# Records GNOME's compositor through GNOME's own screen-cast portal with the
# real `framedeck record`. mutter runs headless with two monitors, 1280x720
# (primary) and 1024x768 to its right, beside xdg-desktop-portal and its GNOME
# backend, on a PipeWire of their own (on-pipewire.sh). fd_test_gnome_driver
# plays the user: it answers the portal's dialog with clicks (the second
# monitor, then Share) and puts the pointer on that monitor. FrameDeck itself
# is left on its first monitor, so the shared one is not the one it chose.
# Checked with FFmpeg:
# - the shared monitor is recorded, at its own size;
# - GNOME sends the pointer as metadata and FrameDeck draws its own arrow and
#   highlight where the pointer is, in a full-screen recording and in an area
#   (cut from the shared monitor);
# - the dialog's "Remember this selection": the next recording of that
#   monitor starts with no dialog, through the restore token kept for it;
#   the main window (Start and Stop clicked) records its own first monitor,
#   whose share is not remembered, so the dialog asks again;
# - one window, chosen in the dialog's window list, is recorded at its own
#   size, from the command line and from the main window's App Window kind.
#   That list is GNOME Shell's, which cannot run here: the test window
#   (fd_test_gnome_window) lists itself, under the id mutter gave it.
# Skipped (77) where mutter or GNOME's portal is not installed.
#
#   gnome_portal_check.sh FRAMEDECK DRIVER SOURCE_DIR ARTIFACT_DIR TEST_WINDOW FIXED_WINDOW_IDS
set -euo pipefail

if [[ ${1:-} != --inside ]]; then
  exec "$3/tests/integration/pulse/on-pipewire.sh" bash "$0" --inside "$@"
fi
framedeck=$2 driver=$3 artifacts=$5 test_window=$6 fixed_window_ids=$7
portal=/usr/libexec/xdg-desktop-portal
gnome_portal=/usr/libexec/xdg-desktop-portal-gnome
for tool in mutter "$portal" "$gnome_portal" dbus-send ffmpeg; do
  command -v "$tool" >/dev/null || { echo "gnome portal check: $tool is not installed" >&2; exit 77; }
done
# shellcheck source=../../check-helpers.sh
source "$(dirname "$0")/../../check-helpers.sh"

dir=$FRAMEDECK_DESKTOP_DIR
logs="$dir/log/*.log"
out=$HOME/recordings
mkdir -p "$out" "$artifacts"
trap stop_all EXIT

export XDG_CURRENT_DESKTOP=GNOME XDG_SESSION_TYPE=wayland WAYLAND_DISPLAY=framedeck-gnome
LD_PRELOAD=$fixed_window_ids mutter --headless --wayland --no-x11 --wayland-display "$WAYLAND_DISPLAY" \
  --virtual-monitor 1280x720 --virtual-monitor 1024x768 >"$dir/log/mutter.log" 2>&1 &
pids+=($!)
wait_until test -S "$XDG_RUNTIME_DIR/$WAYLAND_DISPLAY" || give_up "mutter did not start"
# GTK draws GNOME's share dialog in software: there is no GPU.
start_gnome_portal() {
  GSK_RENDERER=cairo "$gnome_portal" >>"$dir/log/xdg-desktop-portal-gnome.log" 2>&1 &
  gnome_portal_pid=$!
  pids+=($!)
  wait_until has_bus_name org.freedesktop.impl.portal.desktop.gnome || give_up "GNOME's portal did not start"
}
start_gnome_portal
mkdir -p "$dir/portals"
cp /usr/share/xdg-desktop-portal/portals/gnome.portal "$dir/portals/"
XDG_DESKTOP_PORTAL_DIR=$dir/portals "$portal" >"$dir/log/xdg-desktop-portal.log" 2>&1 &
pids+=($!)
wait_until has_bus_name org.freedesktop.portal.Desktop || give_up "xdg-desktop-portal did not start"

coproc DRIVER { "$driver" 2>"$dir/log/driver.log"; }
pids+=($!)
read -r ready <&"${DRIVER[0]}" || true
[[ $ready == "ready 1280x720" ]] || give_up "the driver said '$ready'"
# do COMMAND...: one command to the driver; its answer on standard output.
do_() {
  local answer
  echo "$*" >&"${DRIVER[1]}"
  read -r answer <&"${DRIVER[0]}"
  [[ $answer != error* ]] || give_up "the driver failed: $answer"
  echo "$answer"
}
# give_up_shown NAME MESSAGE: gives up with the screen as it is, kept as NAME.png.
give_up_shown() {
  do_ shot "$artifacts/$1.png" >/dev/null
  give_up "$2 (see $artifacts/$1.png)"
}

# The arrow and its highlight on, as a user who wants the pointer seen would
# set them (past the first run, whose defaults have no highlight).
settings=$XDG_CONFIG_HOME/FrameDeck/FrameDeck.conf
mkdir -p "$(dirname "$settings")"
printf '[General]\nIsFirstRun=true\nIsShowMouse=true\nIsMouseHighlight=true\n' >"$settings"
seconds=3
# On the second monitor, whose left edge is the primary's right one.
pointer_x=220 pointer_y=300
teal="8 178 194" # the highlight's colour
# Starts a recording in the background; $! is framedeck itself, so that a
# signal sent there reaches it.
record() {
  "$framedeck" record --backend portal --audio none --format mp4 --fps 30 --seconds "$seconds" "$@" \
    >>"$dir/log/framedeck.log" 2>&1 &
}
# Puts the pointer at its place on the second monitor (from the primary
# monitor's right edge across), or at X,Y of the primary monitor, and keeps it
# there while PID runs, stirring it by a pixel so that the desktop sends it
# anew.
hold_pointer() { # PID [X Y]
  local step=1
  if (($# == 3)); then
    do_ move "$2" "$3" >/dev/null
  else
    do_ move 1270 "$pointer_y" >/dev/null
    do_ nudge $((10 + pointer_x)) 0 >/dev/null
  fi
  while kill -0 "$1" 2>/dev/null; do
    do_ nudge "$step" 0 >/dev/null
    step=$((-step))
    sleep 0.3
  done
}

# The dialog's places on the 1280x720 monitor (GNOME 43), two monitors listed.
first_monitor_row=(640 385) second_monitor_row=(640 440) share=(852 232) share_blank=(820 222) dialog_body=(640 495)
dialog_up() { near "$(do_ pixel "${dialog_body[@]}")" "250 250 250" 6; }
# The button turns from pale to full blue once a monitor is chosen.
share_ready() { near "$(do_ pixel "${share_blank[@]}")" "53 132 228" 20; }

# --- declined: Cancel in GNOME's dialog, then Ctrl-C while it is up. Each
# ends the command with status 1 and no file, and takes the dialog down.
cancel=(430 232)
give_up_recording() { # HOW (click or interrupt)
  local recording status=0
  record --mode full --output "$out/given-up.mp4"
  recording=$!
  wait_until dialog_up || give_up "GNOME's dialog did not show"
  if [[ $1 == click ]]; then do_ click "${cancel[@]}" >/dev/null; else kill -INT "$recording"; fi
  wait "$recording" || status=$?
  ((status == 1)) || fail "a recording given up by $1 exited with $status, not 1"
  wait_until eval '! dialog_up' || fail "GNOME's dialog stayed up after a $1"
  [[ ! -e $out/given-up.mp4 ]] || fail "a recording given up by $1 before it began left a file"
}
give_up_recording click
give_up_recording interrupt
# GNOME 43's backend segfaults when a share whose dialog is up is withdrawn
# (Request.Close and Session.Close alike, so any client that gives up or
# quits then), at times only a moment after the dialog went down; a GNOME
# session's bus starts it again when next asked. Here it is started afresh,
# dead or not, so that no later section meets it dying.
kill "$gnome_portal_pid" 2>/dev/null || true
wait_until eval '! has_bus_name org.freedesktop.impl.portal.desktop.gnome' || give_up "GNOME's portal did not stop"
start_gnome_portal

# --- full screen, choosing the monitor in GNOME's dialog
full=$out/full.mp4
record --mode full --output "$full"
recording=$!
wait_until dialog_up || give_up_shown gnome-portal-no-dialog "GNOME's dialog did not show"
do_ shot "$artifacts/gnome-portal-dialog.png" >/dev/null
do_ click "${second_monitor_row[@]}" >/dev/null
wait_until share_ready || give_up "choosing the monitor left Share disabled (see $artifacts/gnome-portal-dialog.png)"
do_ click "${share[@]}" >/dev/null
hold_pointer "$recording"
wait "$recording" || fail "full-screen recording exited with $?"
if [[ -s $full ]]; then
  expect_size "$full" 1024x768 "full screen (the shared monitor)"
  ffmpeg -v error -y -sseof -0.3 -i "$full" -frames:v 1 "$artifacts/gnome-portal-full-frame.png" || true
  # The highlight is a disc around the arrow's picture, right and below the tip.
  seen=$(pixel "$full" 2.5 $((pointer_x + 18)) $((pointer_y + 10)))
  near "$seen" "$teal" 30 || fail "no highlight beside the pointer at $pointer_x,$pointer_y: '$seen'"
  seen=$(pixel "$full" 2.5 700 500)
  ! near "$seen" "$teal" 30 || fail "highlight colour far from the pointer: '$seen'"
else
  fail "no full-screen file"
fi

# --- an area around the pointer, the second monitor chosen in FrameDeck this
# time: the share of that monitor is remembered, so no dialog
area=$out/area.mp4
record --mode area --screen 1 --area 100,200,200,200 --output "$area"
recording=$!
hold_pointer "$recording"
wait "$recording" || fail "area recording exited with $? (did the dialog come back?)"
if [[ -s $area ]]; then
  expect_size "$area" 200x200 "the area"
  # The pointer at 220,300 of the monitor is at 120,100 of the area.
  seen=$(pixel "$area" 2.5 $((120 + 18)) $((100 + 10)))
  near "$seen" "$teal" 30 || fail "no highlight beside the pointer in the area: '$seen'"
else
  fail "no area file"
fi

# --- one window, picked in GNOME's dialog
window_rgb=(200 40 120)
# Opens the test window and lists it in the stand-in for GNOME Shell's
# window list; it must be up before the dialog opens, which reads the list.
open_test_window() {
  local log=$dir/log/test-window-$1.log
  QT_QPA_PLATFORM=wayland "$test_window" 400 300 "${window_rgb[@]}" "FrameDeck test window" >"$log" 2>&1 &
  test_window_pid=$!
  pids+=("$test_window_pid")
  wait_until grep -q '^listed' "$log" || give_up "the test window was not listed: $(cat "$log")"
}
close_test_window() {
  kill "$test_window_pid"
  wait "$test_window_pid" 2>/dev/null || true
}
# The dialog as for a monitor, with the window list in place of the monitors.
window_row=(640 346)
pick_window_in_dialog() { # NAME (of the pictures)
  wait_until dialog_up || give_up_shown "gnome-$1-no-window-dialog" "GNOME's dialog for a window did not show"
  do_ click "${window_row[@]}" >/dev/null
  wait_until share_ready || give_up "choosing the window left Share disabled"
  do_ shot "$artifacts/gnome-$1-window-dialog.png" >/dev/null
  do_ click "${share[@]}" >/dev/null
}
# mutter sends a window in a picture the size of its monitor and marks the
# window's part of it; the recording is that part alone, wherever the window
# is: its colour from corner to corner (a part of the monitor of that size
# would show the desktop at one corner at least).
check_window_file() { # FILE NAME SECONDS
  [[ -s $1 ]] || { fail "no window file from the $2"; return; }
  expect_size "$1" 400x300 "the window recorded from the $2"
  ffmpeg -v error -y -ss "$3" -i "$1" -frames:v 1 "$artifacts/gnome-$2-window-frame.png" || true
  local at seen
  for at in "4 4" "200 150" "395 295"; do
    # shellcheck disable=SC2086 # X and Y
    seen=$(pixel "$1" "$3" $at)
    near "$seen" "${window_rgb[*]}" || fail "the $2's window recording at $at is '$seen', not ${window_rgb[*]}"
  done
}

window_file=$out/window.mp4
# mutter opens windows, its dialogs too, on the monitor the pointer is on.
do_ move 640 360 >/dev/null
open_test_window cli
# Recorded until the window closes, which ends the recording and keeps it.
casts_before=$(grep -c "window cast" "$dir/log/framedeck.log" || true)
seconds=60 record --mode window --output "$window_file"
recording=$!
pick_window_in_dialog portal
# Halved a while after the recording took the window's size (a slow build
# may take seconds to start): the recording keeps its size, the window at
# its top left and black beside and below it.
wait_until eval '(($(grep -c "window cast" "$dir/log/framedeck.log") > casts_before))' ||
  give_up "the window's recording did not start"
sleep 1.5
kill -USR1 "$test_window_pid"
sleep 1.5
# Gone also before the main window opens, which mutter would place beside it.
close_test_window
# A window id mutter does not know fails the share: "Window not found" in
# xdg-desktop-portal-gnome.log.
wait "$recording" || fail "window recording exited with $? when the window closed"
grep -q "the recording ends here" "$dir/log/framedeck.log" || fail "closing the window did not end its recording"
check_window_file "$window_file" portal 0.5
duration=$(probe "$window_file" duration)
awk -v d="$duration" 'BEGIN { exit !(d >= 2 && d < 30) }' || fail "the window's recording lasts $duration s, not until it closed"
end=$(awk -v d="$duration" 'BEGIN { print d - 0.2 }')
ffmpeg -v error -y -ss "$end" -i "$window_file" -frames:v 1 "$artifacts/gnome-portal-resized-window-frame.png" || true
seen=$(pixel "$window_file" "$end" 100 74)
near "$seen" "${window_rgb[*]}" || fail "the halved window's middle is '$seen', not ${window_rgb[*]}"
for at in "300 74" "100 224" "300 224"; do
  # shellcheck disable=SC2086 # X and Y
  seen=$(pixel "$window_file" "$end" $at)
  near "$seen" "0 0 0" || fail "beside the halved window, at $at, the recording shows '$seen', not black"
done

# --- the main window: Start and Stop clicked. It records its first monitor,
# whose share nothing remembers (the one remembered is the second's): GNOME's
# dialog asks, and the first monitor is chosen there.
gui_log=$dir/log/framedeck-gui.log
# mutter opens a window on the monitor the pointer is on.
do_ move 640 360 >/dev/null
QT_QPA_PLATFORM=wayland QT_WAYLAND_CLIENT_BUFFER_INTEGRATION=none "$framedeck" >"$gui_log" 2>&1 &
gui=$!
pids+=($gui)
# The middle of Start (and then Stop) where mutter puts the window on the
# first monitor (GNOME 43), with a Display row for the two monitors.
start_stop=(150 463)
start_shown() { near "$(do_ pixel "${start_stop[@]}")" "217 58 58" 12; }
# gui_recorded N WHAT: Stop clicked on the main window's Nth recording, which
# ends; its file, the one newer than the last, in $gui_file.
gui_recorded() {
  local newer=()
  [[ -z ${gui_file:-} ]] || newer=(-newer "$gui_file")
  do_ click "${start_stop[@]}" >/dev/null
  wait_until eval "((\$(grep -c stopRecording \"\$gui_log\") == $1))" || fail "the main window did not stop $2"
  cp "$gui_log" "$artifacts/" || true
  sleep 1
  gui_file=$(find "$HOME/Videos" -name '*.mov' "${newer[@]}" | head -n1)
}
wait_until start_shown || give_up_shown gnome-gui-not-shown "the main window did not show"
do_ click "${start_stop[@]}" >/dev/null
wait_until dialog_up || give_up_shown gnome-gui-no-dialog "GNOME's dialog did not ask for the main window's monitor"
do_ click "${first_monitor_row[@]}" >/dev/null
wait_until share_ready || give_up "choosing the first monitor left Share disabled"
do_ click "${share[@]}" >/dev/null
wait_until grep -q "recording to" "$gui_log" || give_up_shown gnome-gui-not-recording "the main window did not start recording"
# Beside the main window, on the first monitor.
gui_pointer=(900 500)
sleep 3 &
hold_pointer $! "${gui_pointer[@]}"
do_ shot "$artifacts/gnome-gui-recording.png" >/dev/null
gui_recorded 1 recording
if [[ -n $gui_file ]]; then
  expect_size "$gui_file" 1280x720 "the main window's recording (of its first monitor)"
  ffmpeg -v error -y -ss 2 -i "$gui_file" -frames:v 1 "$artifacts/gnome-gui-frame.png" || true
  seen=$(pixel "$gui_file" 2 $((gui_pointer[0] + 18)) $((gui_pointer[1] + 10)))
  near "$seen" "$teal" 30 || fail "no highlight beside the pointer in the main window's recording: '$seen'"
else
  fail "the main window's recording is not in ~/Videos"
fi

# --- the main window's App Window kind: the window picked in GNOME's dialog
open_test_window gui
# The file list the stop opened covers the main window but for its bottom
# row; a click there, beside the buttons, brings the main window up.
main_window_blank=(610 530) app_window=(338 152)
do_ click "${main_window_blank[@]}" >/dev/null
do_ click "${app_window[@]}" >/dev/null
wait_until start_shown || give_up_shown gnome-gui-window-kind "Start is not where it was after choosing App Window"
do_ click "${start_stop[@]}" >/dev/null
pick_window_in_dialog gui
wait_until eval '(($(grep -c startRecording "$gui_log") == 2))' ||
  give_up_shown gnome-gui-window-not-recording "the main window did not record the window"
sleep 3
do_ shot "$artifacts/gnome-gui-window-recording.png" >/dev/null
gui_recorded 2 "the window's recording"
check_window_file "$gui_file" gui 2
close_test_window

# --- the main window's Custom Area, dragged on the second monitor's overlay:
# that monitor's share is remembered from the command line, so no dialog
do_ click "${main_window_blank[@]}" >/dev/null
custom_area=(225 152)
do_ click "${custom_area[@]}" >/dev/null
wait_until start_shown || give_up_shown gnome-gui-area-kind "Start is not where it was after choosing Custom Area"
do_ click "${start_stop[@]}" >/dev/null
# Every monitor gets an overlay; without GNOME Shell's screenshots it is dark.
overlay_up() { near "$(do_ pixel 1000 650)" "0 0 0" 12; }
wait_until overlay_up || give_up_shown gnome-gui-no-overlay "no area overlay"
# From 100,200 to 400,400 of the second monitor: the area of the command line's.
do_ move 1270 200 >/dev/null
do_ nudge 110 0 >/dev/null
# A hand comes to rest before it presses. A press with no motion since the
# overlay appeared takes the pointer's place from its entry, which mutter may
# have given while the overlay was still being put on its monitor (seen under
# the sanitizers: the area began 23,10 pixels off).
sleep 0.5
do_ nudge 1 0 >/dev/null
do_ nudge -1 0 >/dev/null
do_ press >/dev/null
for _ in 1 2 3 4 5 6 7 8 9 10; do do_ nudge 30 20 >/dev/null; done
do_ release >/dev/null
# The overlay's Start, below the area's bottom right corner (369,425 of
# the second monitor), reached across the first monitor's edge.
wait_until grep -q recordViewDidShowToolBar "$gui_log" || give_up "no toolbar under the dragged area"
do_ move 1270 425 >/dev/null
do_ nudge 379 0 >/dev/null
sleep 0.2
do_ press >/dev/null
do_ release >/dev/null
wait_until eval '(($(grep -c "recording to" "$gui_log") == 3))' ||
  give_up_shown gnome-gui-area-not-recording "the dragged area was not recorded"
sleep 3 &
hold_pointer $!
gui_recorded 3 "the area's recording"
if [[ -s $gui_file ]]; then
  expect_size "$gui_file" 300x200 "the dragged area"
  ffmpeg -v error -y -sseof -0.3 -i "$gui_file" -frames:v 1 "$artifacts/gnome-gui-area-frame.png" || true
  # The pointer at 220,300 of the second monitor is at 120,100 of the area.
  seen=$(pixel "$gui_file" 2 $((120 + 18)) $((100 + 10)))
  near "$seen" "$teal" 30 || fail "no highlight beside the pointer in the dragged area: '$seen'"
else
  fail "no recording of the area dragged on the second monitor"
fi

logs="$dir/log/framedeck.log $dir/log/xdg-desktop-portal*.log"
finish "GNOME portal recording" "the shared monitor and an area of it with FrameDeck's pointer, choice remembered; one window, from the command line and the main window"
