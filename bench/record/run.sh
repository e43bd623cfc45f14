#!/usr/bin/env bash
# Recording cost, FrameDeck against FFmpeg's x11grab and against the encoder
# alone, measured in one run on a private test desktop (1920x1080), over
# three scenes:
#   static     the desktop, the pointer moved every 3 s;
#   typing     a terminal-like window typed into 12.5 times a second, with a
#              blinking caret (bench_record_animation --typing);
#   animation  a light full-screen animation, clicked four times
#              (bench_record_animation); also at 60 fps.
# For each scene: `framedeck record` full screen with cursor, click ring and
# a text watermark; `ffmpeg -f x11grab -draw_mouse 1` with the same libx264
# settings; and the floor: libx264 alone (bench_encoder_floor) with the same
# settings on the scene's raw frames grabbed beforehand into a file.
# Printed: CPU seconds (user + sys) per recorded second, frames in the file,
# repeated and dropped frames, peak RSS, and the ratios to ffmpeg and to the floor.
#
#   bench/record/run.sh [BUILD_DIR]      (default: build; needs bench_record_animation)
#   BENCH_SECONDS=20 BENCH_QUALITY=hd    (length; original | hd | sd)
#   BENCH_SCENES="static typing animation animation60"
set -euo pipefail

self=$(readlink -f "${BASH_SOURCE[0]}")
root=$(cd "$(dirname "$self")/../.." && pwd)
build=$(readlink -f "${1:-$root/build}")
seconds=${BENCH_SECONDS:-20}
quality=${BENCH_QUALITY:-hd}
scenes=${BENCH_SCENES:-static typing animation animation60}

# Always on a desktop of its own: never record the user's screen.
if [[ -z ${FRAMEDECK_DESKTOP_DIR:-} ]]; then
  exec "$root/scripts/test-desktop" run -- "$self" "$build"
fi

for tool in "$build/bin/framedeck" "$build/bin/bench_record_animation" "$build/bin/bench_encoder_floor" ffmpeg ffprobe xdotool /usr/bin/time; do
  command -v "$tool" >/dev/null || { echo "run.sh: $tool is missing (build bench_record_animation and framedeck)" >&2; exit 1; }
done

# What libMediaEncoder gives libx264 for MP4 (src/encoder/VideoPath.cpp):
# preset veryfast, the quality's bit rate, a keyframe every 2 s, and, since
# pictures come only when the screen changed, no B-frames, no look-ahead (nor
# the macroblock tree that needs it) and sliced threads, 1.5 per core (at most 6).
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
scene_pid=
trap 'kill $scene_pid 2>/dev/null || true; rm -rf "$work"' EXIT

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

x264_args() {
  local fps=$1
  echo "-c:v libx264 -preset veryfast -b:v ${kbps}k -bf 0 -g $((fps * 2)) -rc-lookahead 0 -mbtree 0" \
    "-x264-params sliced-threads=1:sync-lookahead=0 -threads $threads -pix_fmt yuv420p"
}

# start_scene NAME: puts the scene on screen; the pointer or the clicks that go
# with it run during each recording (actions).
start_scene() {
  kill $scene_pid 2>/dev/null || true
  wait $scene_pid 2>/dev/null || true
  scene_pid=
  case $1 in
    typing) "$build/bin/bench_record_animation" 0 --typing & scene_pid=$! ;;
    animation*) "$build/bin/bench_record_animation" & scene_pid=$! ;;
  esac
  xdotool mousemove 700 400
  sleep 1
}

actions() {
  case $1 in
    static | typing)
      # The pointer moves now and then.
      for i in $(seq 1 $((seconds / 3))); do
        sleep 3
        xdotool mousemove $((300 + i * 97 % 900)) $((200 + i * 61 % 500))
      done ;;
    animation*)
      sleep 3
      for _ in 1 2 3 4; do
        xdotool click 1
        sleep $((seconds / 5))
      done ;;
  esac
}

# measure NAME SCENE COMMAND... : runs the recorder under /usr/bin/time.
measure() {
  local name=$1 scene=$2
  shift 2
  actions "$scene" &
  local acting=$!
  /usr/bin/time -f "%U %S %M" -o "$work/$name.time" "$@" >"$work/$name.out" 2>"$work/$name.log" || {
    echo "run.sh: $name failed:" >&2
    tail -5 "$work/$name.log" >&2
  }
  kill "$acting" 2>/dev/null || true
  wait "$acting" 2>/dev/null || true
}

fps_of() { [[ $1 == animation60 ]] && echo 60 || echo 30; }

framedeck() {
  local scene=$1 fps
  fps=$(fps_of "$scene")
  HOME=$work XDG_CONFIG_HOME=$work/config XDG_CACHE_HOME=$work/cache XDG_DATA_HOME=$work/data \
    measure "framedeck-$scene" "$scene" "$build/bin/framedeck" record --mode full --audio none --fps "$fps" \
    --quality "$quality" --seconds "$seconds" --output "$work/framedeck-$scene.mp4"
}

peer() {
  local scene=$1 fps
  fps=$(fps_of "$scene")
  # shellcheck disable=SC2046
  measure "ffmpeg-$scene" "$scene" ffmpeg -nostdin -v error -f x11grab -draw_mouse 1 -framerate "$fps" \
    -video_size 1920x1080 -i "$DISPLAY" -t "$seconds" $(x264_args "$fps") \
    -progress "$work/ffmpeg-$scene.progress" -y "$work/ffmpeg-$scene.mp4"
}

# The encoder alone: the scene grabbed first into raw frames, then encoded
# by bench_encoder_floor, paced at the frame rate, counting the encoder's own
# CPU time only (`ffmpeg -f rawvideo -i file` would add reads from the file
# that cost about as much as the encoder). For the still and typing scenes
# also the encoder alone on the pictures that changed (and one a second of
# a still picture): the least a recorder that follows the screen can cost
# with these encoder settings.
floor() {
  local scene=$1 fps
  fps=$(fps_of "$scene")
  actions "$scene" &
  local acting=$!
  ffmpeg -nostdin -v error -f x11grab -draw_mouse 1 -framerate "$fps" -video_size 1920x1080 -i "$DISPLAY" \
    -t "$seconds" -pix_fmt yuv420p -f rawvideo -y "$work/raw.yuv"
  kill "$acting" 2>/dev/null || true
  wait "$acting" 2>/dev/null || true
  local cpu frames
  read -r cpu frames < <("$build/bin/bench_encoder_floor" "$work/raw.yuv" 1920 1080 "$fps" "$kbps" "$threads")
  echo "$cpu 0 -" >"$work/floor-$scene.time"
  echo "$frames" >"$work/floor-$scene.frames"
  if [[ $scene == static || $scene == typing ]]; then
    read -r cpu frames < <("$build/bin/bench_encoder_floor" "$work/raw.yuv" 1920 1080 "$fps" "$kbps" "$threads" --changed)
    echo "$cpu 0 -" >"$work/changed-$scene.time"
    echo "$frames" >"$work/changed-$scene.frames"
  fi
  rm -f "$work/raw.yuv"
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

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf("%.2f", b > 0 ? a / b : 0) }'; }

# Prints one row of the table.
row() {
  local name=$1 label=$2 fps=$3 scene=$4 dup=0 drop=0 user sys rss summary
  read -r user sys rss <"$work/$name.time"
  if [[ $name == ffmpeg* ]]; then
    dup=$(grep '^dup_frames=' "$work/$name.progress" | tail -1 | cut -d= -f2)
    drop=$(grep '^drop_frames=' "$work/$name.progress" | tail -1 | cut -d= -f2)
  elif [[ $name == framedeck* ]]; then
    # Pictures the encoder stored again (a still screen's one a second);
    # late frames and overflow are dropped. No summary: neither happened.
    summary=$(grep -o '[0-9]* frames repeated, [0-9]* late frames dropped, [0-9]* frames' "$work/$name.log" |
      tail -1 || true)
    if [[ -n $summary ]]; then
      dup=$(awk '{ print $1 }' <<<"$summary")
      drop=$(awk '{ print $4 + $8 }' <<<"$summary")
    fi
    local queue
    queue=$(grep -o 'video frames dropped: [0-9]*' "$work/$name.log" | tail -1 | awk '{ print $4 }' || true)
    drop=$((drop + ${queue:-0}))
  fi
  local cpu frames
  cpu=$(cpu_of "$name")
  if [[ -f $work/$name.frames ]]; then frames=$(<"$work/$name.frames"); else frames=$(frames_in "$work/$name.mp4"); fi
  [[ $rss == - ]] && rss=- || rss="$((rss / 1024)) MB"
  printf "| %-9s | %-27s | %9s | %6s / %-6s | %7s / %-7s | %8s | %5s | %5s |\n" "$scene" "$label" "$cpu" \
    "$frames" $((fps * seconds)) "${dup:-?}" "${drop:-?}" "$rss" \
    "$(ratio "$cpu" "$(cpu_of "ffmpeg-$scene")")" "$(ratio "$cpu" "$(cpu_of "floor-$scene")")"
}

echo "Recording ${seconds} s of 1920x1080, libx264 veryfast ${kbps} kbit/s, ${threads} threads, $cores cores"
for scene in $scenes; do
  echo "scene $scene..."
  start_scene "$scene"
  framedeck "$scene"
  peer "$scene"
  floor "$scene"
done

echo
echo "| scene     | recorder                    | CPU s / s | frames / at full rate | repeated / dropped | peak RSS | / ffmpeg | / floor |"
echo "|---|---|---|---|---|---|---|---|"
for scene in $scenes; do
  fps=$(fps_of "$scene")
  row "framedeck-$scene" "framedeck record" "$fps" "$scene"
  row "ffmpeg-$scene" "ffmpeg x11grab" "$fps" "$scene"
  row "floor-$scene" "encoder alone (floor)" "$fps" "$scene"
  [[ -f $work/changed-$scene.time ]] && row "changed-$scene" "encoder alone, changed only" "$fps" "$scene"
done
