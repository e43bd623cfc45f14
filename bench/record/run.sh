#!/usr/bin/env bash
# Recording cost, FrameDeck against FFmpeg's x11grab, measured in one run on
# a private test desktop (1920x1080) showing a light animation:
#   1. `framedeck record`, full screen, 30 fps, cursor + click ring + a text
#      watermark, for 20 s, while the screen is clicked a few times;
#   2. `ffmpeg -f x11grab -draw_mouse 1` with the same libx264 settings;
#   3. the same pair at 60 fps.
# For each: CPU seconds (user + sys of the recorder process) per recorded
# second, frames written against expected, repeated and dropped frames, peak
# RSS, and the FrameDeck / ffmpeg CPU ratio.
#
#   bench/record/run.sh [BUILD_DIR]      (default: build; needs bench_record_animation)
#   BENCH_SECONDS=20 BENCH_QUALITY=hd    (length; original | hd | sd)
set -euo pipefail

self=$(readlink -f "${BASH_SOURCE[0]}")
root=$(cd "$(dirname "$self")/../.." && pwd)
build=$(readlink -f "${1:-$root/build}")
seconds=${BENCH_SECONDS:-20}
quality=${BENCH_QUALITY:-hd}

# Always on a desktop of its own: never record the user's screen.
if [[ -z ${FRAMEDECK_DESKTOP_DIR:-} ]]; then
  exec "$root/scripts/test-desktop" run -- "$self" "$build"
fi

for tool in "$build/bin/framedeck" "$build/bin/bench_record_animation" ffmpeg ffprobe xdotool /usr/bin/time; do
  command -v "$tool" >/dev/null || { echo "run.sh: $tool is missing (build bench_record_animation and framedeck)" >&2; exit 1; }
done

# What libMediaEncoder gives libx264 (src/encoder/VideoPath.cpp): preset
# veryfast, the quality's bit rate, a keyframe every 2 s, a look-ahead of
# fps/3 frames kept within 5...10, and 1.5 threads per core (at most 6).
case $quality in
  original) kbps=8000 ;;
  hd) kbps=5000 ;;
  sd) kbps=3000 ;;
  *) echo "run.sh: BENCH_QUALITY is original, hd or sd" >&2; exit 2 ;;
esac
cores=$(nproc)
threads=$(((cores * 3 + 1) / 2))
((threads > 6)) && threads=6

work=$(mktemp -d "${TMPDIR:-/tmp}/bench-record.XXXXXX")
trap 'kill "$animation" 2>/dev/null || true; rm -rf "$work"' EXIT

# FrameDeck's settings: its own home, so the user's settings stay untouched.
mkdir -p "$work/config/FrameDeck"
cat >"$work/config/FrameDeck/FrameDeck.conf" <<EOF
[General]
IsShowMouse=true
IsMouseClickEffect=true
IsMouseHighlight=false
Watermark_Type=0
Watermark_textString=FrameDeck benchmark
Watermark_color=1, 1, 1
Watermark_alpha=0.8
Watermark_scale=1
Watermark_center_x=0.8
Watermark_center_y=0.1
EOF

"$build/bin/bench_record_animation" &
animation=$!
xdotool mousemove 700 400

# Clicks a few times while a recording runs (the ring shows after each).
clicker() {
  sleep 3
  for _ in 1 2 3 4; do
    xdotool click 1
    sleep $((seconds / 5))
  done
}

# measure NAME FPS COMMAND... : runs the recorder under /usr/bin/time.
measure() {
  local name=$1 fps=$2
  shift 2
  clicker &
  local clicks=$!
  /usr/bin/time -f "%U %S %M" -o "$work/$name.time" "$@" >"$work/$name.out" 2>"$work/$name.log" || {
    echo "run.sh: $name failed:" >&2
    tail -5 "$work/$name.log" >&2
  }
  wait "$clicks" || true
}

framedeck() {
  local fps=$1
  HOME=$work XDG_CONFIG_HOME=$work/config XDG_CACHE_HOME=$work/cache XDG_DATA_HOME=$work/data \
    measure "framedeck$fps" "$fps" "$build/bin/framedeck" record --mode full --audio none --fps "$fps" \
    --quality "$quality" --seconds "$seconds" --output "$work/framedeck$fps.mp4"
}

peer() {
  local fps=$1 lookahead=$((($1 + 1) / 3))
  ((lookahead < 5)) && lookahead=5
  ((lookahead > 10)) && lookahead=10
  measure "ffmpeg$fps" "$fps" ffmpeg -nostdin -v error -f x11grab -draw_mouse 1 -framerate "$fps" \
    -video_size 1920x1080 -i "$DISPLAY" -t "$seconds" -c:v libx264 -preset veryfast -b:v "${kbps}k" \
    -g $((fps * 2)) -rc-lookahead "$lookahead" -threads "$threads" -pix_fmt yuv420p \
    -progress "$work/ffmpeg$fps.progress" -y "$work/ffmpeg$fps.mp4"
}

frames_in() {
  ffprobe -v error -select_streams v:0 -count_packets -show_entries stream=nb_read_packets -of csv=p=0 "$1" 2>/dev/null || echo 0
}

# CPU seconds (user + sys) per recorded second.
cpu_of() {
  local user sys rss
  read -r user sys rss <"$work/$1.time"
  awk -v u="$user" -v s="$sys" -v t="$seconds" 'BEGIN { printf "%.3f", (u + s) / t }'
}

# Prints one row of the table, without its last column.
row() {
  local name=$1 label=$2 fps=$3 dup=0 drop=0 user sys rss summary
  read -r user sys rss <"$work/$name.time"
  if [[ $name == ffmpeg* ]]; then
    dup=$(grep '^dup_frames=' "$work/$name.progress" | tail -1 | cut -d= -f2)
    drop=$(grep '^drop_frames=' "$work/$name.progress" | tail -1 | cut -d= -f2)
  else
    # The encoder fills a missed frame with the one before it (repeated);
    # late frames and overflow are dropped. No summary: neither happened.
    summary=$(grep -o '[0-9]* frames repeated, [0-9]* late frames dropped, [0-9]* frames' "$work/$name.log" |
      tail -1 || true)
    if [[ -n $summary ]]; then
      dup=$(awk '{ print $1 }' <<<"$summary")
      drop=$(awk '{ print $4 + $8 }' <<<"$summary")
    fi
  fi
  printf "| %-26s | %9s | %6s / %-6s | %7s / %-7s | %5d MB |" "$label" "$(cpu_of "$name")" "$(frames_in "$work/$name.mp4")" \
    $((fps * seconds)) "${dup:-?}" "${drop:-?}" $((rss / 1024))
}

echo "Recording ${seconds} s of 1920x1080, libx264 veryfast ${kbps} kbit/s, ${threads} threads, $cores cores"
for fps in 30 60; do
  framedeck "$fps"
  peer "$fps"
done

echo
echo "| Recorder                   | CPU s / s | frames / expected | repeated / dropped | peak RSS | FrameDeck / ffmpeg |"
echo "|---|---|---|---|---|---|"
for fps in 30 60; do
  row "framedeck$fps" "framedeck record ${fps} fps" "$fps"
  awk -v a="$(cpu_of "framedeck$fps")" -v b="$(cpu_of "ffmpeg$fps")" 'BEGIN { printf(" %.2f |\n", b > 0 ? a / b : 0) }'
  row "ffmpeg$fps" "ffmpeg x11grab ${fps} fps" "$fps"
  echo " |"
done
