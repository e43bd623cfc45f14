#!/usr/bin/env bash
# A/V drift over a long recording, FrameDeck against ffmpeg (x11grab + pulse),
# measured in one run on a private test desktop. The microphone is a pipe
# source that declares 48,000 samples per second but is fed 48,048 by
# bench_drift_feeder: a card whose clock runs 0.1 % fast. The feeder beeps
# and flashes a corner of the screen at every whole second of one clock, so
# in a file in step every beep starts with its flash. Both recorders run at
# once, from the same screen and the same microphone; afterwards each
# file's flash and beep onsets are found with FFmpeg's blackdetect and
# silencedetect and paired. Printed: the sound's offset against the picture
# at the start, after 10 minutes and at the end (positive: sound late), and
# how far it moved, and how far apart the beeps are in the file.
#
# Beeps are placed by their sample count, as a player plays them: a file may
# stamp its audio packets by the wall clock (ffmpeg's pulse input does), which
# hides the drift from a timestamp-based measure but not from the listener.
#
#   bench/drift/run.sh [BUILD_DIR]       (default: build; needs framedeck and bench_drift_feeder)
#   DRIFT_MINUTES=60                     (length of the recordings)
#   DRIFT_KEEP=1                         (keep the recordings and the marks found)
set -euo pipefail

self=$(readlink -f "${BASH_SOURCE[0]}")
root=$(cd "$(dirname "$self")/../.." && pwd)
build=$(readlink -f "${1:-$root/build}")
minutes=${DRIFT_MINUTES:-60}
seconds=$((minutes * 60))

# Always on a desktop of its own: never record the user's screen or microphone.
if [[ -z ${FRAMEDECK_DESKTOP_DIR:-} ]]; then
  exec "$root/scripts/test-desktop" run -- "$self" "$build"
fi
for tool in "$build/bin/framedeck" "$build/bin/bench_drift_feeder" ffmpeg pactl; do
  command -v "$tool" >/dev/null || { echo "run.sh: $tool is missing" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/bench-drift.XXXXXX")
# The module makes the FIFO itself (it refuses one that exists).
module=$(pactl load-module module-pipe-source source_name=fastmic file="$work/mic" rate=48000 channels=1 format=s16le)
cleanup() {
  kill "${feeder:-}" "${listener:-}" 2>/dev/null || true
  pactl unload-module "$module" 2>/dev/null || true
  if [[ -n ${DRIFT_KEEP:-} ]]; then echo "files kept in $work"; else rm -rf "$work"; fi
}
trap cleanup EXIT
pactl set-default-source fastmic

"$build/bin/bench_drift_feeder" "$work/mic" $((seconds + 60)) 48048 &
feeder=$!
# A listener from the start keeps the source from being suspended while idle:
# a suspended pipe source stops reading, the FIFO fills, and the first
# recorder to connect would get that backlog as one burst.
parecord --device=fastmic --raw /dev/null &
listener=$!
sleep 3

echo "Recording ${minutes} min of the screen and a microphone 0.1 % fast, FrameDeck and ffmpeg at once..."
HOME=$work XDG_CONFIG_HOME=$work/config XDG_CACHE_HOME=$work/cache XDG_DATA_HOME=$work/data \
  "$build/bin/framedeck" record --mode full --audio mic --fps 30 --seconds "$seconds" \
  --output "$work/framedeck.mp4" >"$work/framedeck.log" 2>&1 &
ours=$!
ffmpeg -nostdin -v error -f x11grab -framerate 30 -video_size 1920x1080 -i "$DISPLAY" -f pulse -i fastmic \
  -t "$seconds" -c:v libx264 -preset veryfast -b:v 5000k -g 60 -pix_fmt yuv420p -c:a aac -ac 1 \
  -y "$work/ffmpeg.mp4" >"$work/ffmpeg.log" 2>&1 &
theirs=$!
wait "$ours" || { echo "run.sh: framedeck failed" >&2; tail -5 "$work/framedeck.log" >&2; }
wait "$theirs" || { echo "run.sh: ffmpeg failed" >&2; tail -5 "$work/ffmpeg.log" >&2; }

# The detectors also end a dark or silent stretch at the end of the file:
# that is no mark.
before_end() {
  awk -v end="$(ffprobe -v error -show_entries format=duration -of csv=p=0 "$1")" '$1 < end - 0.15'
}
flashes() {
  ffmpeg -nostdin -i "$1" -an -vf "crop=100:100:30:30,blackdetect=d=0.02:pix_th=0.3:pic_th=0.9" -f null - 2>&1 |
    grep -o 'black_end:[0-9.]*' | cut -d: -f2 | before_end "$1"
}
beeps() {
  # Where a player puts each beep: at its sample count (the first sample at
  # the stream's start), whatever timestamps the file gives the packets.
  ffmpeg -nostdin -i "$1" -vn -af "asetpts=N/SR/TB+STARTPTS,silencedetect=noise=-35dB:d=0.3" -f null - 2>&1 |
    grep -o 'silence_end: [0-9.]*' | cut -d' ' -f2 | before_end "$1"
}

# row NAME FILE: pairs each flash with the beep nearest to it and prints the
# offsets at the first mark, at 10 minutes (or the end) and at the end.
row() {
  flashes "$2" >"$work/$1.flashes"
  beeps "$2" >"$work/$1.beeps"
  awk -v name="$1" '
    BEGIN { n = 0; m = 0 }
    NR == FNR { beep[n++] = $1; next }
    {
      best = ""
      for (i = 0; i < n; ++i)
        if (best == "" || (beep[i] - $1) ^ 2 < (best - $1) ^ 2) best = beep[i]
      if (best != "" && (best - $1) ^ 2 < 0.25) { t[m] = $1; d[m] = (best - $1) * 1000; ++m }
    }
    END {
      if (m == 0) { printf "| %-9s | no marks found |\n", name; exit }
      at10 = m - 1
      for (i = 0; i < m; ++i) if (t[i] >= 600) { at10 = i; break }
      # The beeps are one second of the fast card apart: 1.001 s of file time
      # when nothing corrects the card, 1.000 when something does.
      spacing = n > 1 ? (beep[n - 1] - beep[0]) / (n - 1) : 0
      printf "| %-9s | %6d | %+8.0f ms | %+8.0f ms (%.0f min) | %+8.0f ms (%.0f min) | %+8.0f ms | %.5f s |\n",
        name, m, d[0], d[at10], t[at10] / 60, d[m - 1], t[m - 1] / 60, d[m - 1] - d[0], spacing
    }' "$work/$1.beeps" "$work/$1.flashes"
}

echo
echo "| recorder  |  marks | at start    | after 10 min              | at the end                | drift       | beeps apart |"
echo "|-----------|--------|-------------|---------------------------|---------------------------|-------------|-------------|"
row FrameDeck "$work/framedeck.mp4"
row ffmpeg "$work/ffmpeg.mp4"
