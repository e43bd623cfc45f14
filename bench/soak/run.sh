#!/usr/bin/env bash
# A long recording on a private test desktop (1920x1080): `framedeck record`,
# full screen at 30 fps with system audio, while a light animation runs and a
# tone plays. Reports the recorder's memory (RSS) after the first minute and
# at the end, the frames written against expected, repeated and dropped
# frames, and the final offset between sound and picture (audio stream length
# minus video stream length: sound is placed by its sample count, so a drift
# between the sound card's clock and the system's shows up here).
#
#   bench/soak/run.sh [BUILD_DIR]        (default: build; needs bench_record_animation)
#   SOAK_SECONDS=3600                    (length; default one hour)
set -euo pipefail

self=$(readlink -f "${BASH_SOURCE[0]}")
root=$(cd "$(dirname "$self")/../.." && pwd)
build=$(readlink -f "${1:-$root/build}")
seconds=${SOAK_SECONDS:-3600}

# Always on a desktop of its own: never record the user's screen.
if [[ -z ${FRAMEDECK_DESKTOP_DIR:-} ]]; then
  exec "$root/scripts/test-desktop" run -- "$self" "$build"
fi

for tool in "$build/bin/framedeck" "$build/bin/bench_record_animation" ffprobe sox pacat; do
  command -v "$tool" >/dev/null || { echo "run.sh: $tool is missing" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/bench-soak.XXXXXX")
trap 'kill "$animation" "$tone" 2>/dev/null || true' EXIT

"$build/bin/bench_record_animation" &
animation=$!
# A tone for the whole run, into the desktop's speakers (what system audio records).
sox -V1 -n -t raw -r 48000 -e signed -b 16 -c 1 - synth $((seconds + 30)) sine 440 |
  pacat --playback --raw --format=s16le --rate=48000 --channels=1 &
tone=$!

HOME=$work XDG_CONFIG_HOME=$work/config XDG_CACHE_HOME=$work/cache XDG_DATA_HOME=$work/data \
  "$build/bin/framedeck" record --mode full --audio system --fps 30 --quality hd --seconds "$seconds" \
  --output "$work/soak.mp4" >"$work/soak.out" 2>"$work/soak.log" &
recorder=$!

# RSS once a minute (kB), for the curve as well as the two figures.
rss_of() { awk '/^VmRSS/ { print $2 }' "/proc/$1/status" 2>/dev/null || echo 0; }
: >"$work/rss.txt"
elapsed=0
while kill -0 "$recorder" 2>/dev/null; do
  sleep 60
  elapsed=$((elapsed + 60))
  echo "$elapsed $(rss_of "$recorder")" >>"$work/rss.txt"
done
status=0
wait "$recorder" || status=$?

first=$(awk 'NR == 1 { print $2 }' "$work/rss.txt")
last=$(awk '$2 > 0 { v = $2 } END { print v }' "$work/rss.txt")
peak=$(awk '$2 > m { m = $2 } END { print m }' "$work/rss.txt")
duration() {
  ffprobe -v error -select_streams "$1:0" -show_entries stream=duration -of csv=p=0 "$work/soak.mp4" 2>/dev/null | head -1
}
video=$(duration v)
audio=$(duration a)
frames=$(ffprobe -v error -select_streams v:0 -count_packets -show_entries stream=nb_read_packets -of csv=p=0 \
  "$work/soak.mp4" 2>/dev/null || echo 0)
summary=$(grep -o '[0-9]* frames repeated, [0-9]* late frames dropped, [0-9]* frames and [0-9]* audio' \
  "$work/soak.log" | tail -1 || true)
repeated=$(awk '{ print $1 }' <<<"${summary:-0}")
dropped=$(awk '{ print $4 + $8 }' <<<"${summary:-0 0 0 0 0 0 0 0}")

echo "Soak: ${seconds} s of 1920x1080 at 30 fps with system audio, exit status $status"
echo
echo "| RSS after 1 min | RSS at the end | peak RSS | frames / expected | repeated / dropped | video s | audio s | A/V offset at the end |"
echo "|---|---|---|---|---|---|---|---|"
awk -v f="$first" -v l="$last" -v p="$peak" -v n="$frames" -v e=$((seconds * 30)) -v r="${repeated:-0}" \
  -v d="${dropped:-0}" -v vd="$video" -v ad="$audio" 'BEGIN {
    printf "| %d MB | %d MB | %d MB | %d / %d | %d / %d | %.2f | %.2f | %+.0f ms |\n",
      f / 1024, l / 1024, p / 1024, n, e, r, d, vd, ad, (ad - vd) * 1000 }'
echo
echo "RSS per minute (s kB): $work/rss.txt; recorder log: $work/soak.log"
