# Shared by the portal checks (sourced): counting failures, and reading a
# recording's size, length and colours with FFmpeg.

failures=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

# probe FILE ENTRY: one field of the video stream (width, height) or the file (duration).
probe() {
  local section=stream
  [[ $2 != duration ]] || section=format
  ffprobe -v error -select_streams v:0 -show_entries "$section=$2" -of csv=p=0 "$1" | head -n1
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
