#!/usr/bin/env bash
# install_check.sh BUILD_DIR VERSION
# Installs the build tree into a temporary prefix and checks that what lands
# there is a working desktop application. See CMakeLists.txt next to it.
set -euo pipefail

build=$(cd "$1" && pwd)
version=$2
app_id=org.framedeck.FrameDeck
# shellcheck source=../../check-helpers.sh
source "$(dirname "$0")/../../check-helpers.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >"$work/install.log" 2>&1 ||
  { cat "$work/install.log" >&2; give_up "cmake --install failed (is the whole tree built?)"; }

# Only the application: no tests, tools or benchmarks.
unexpected=$(find "$prefix/bin" -type f ! -name framedeck)
[[ -z $unexpected ]] || give_up "installed beside the application: $unexpected"
[[ -f $prefix/lib/libMediaEncoder.so ]] || give_up "libMediaEncoder.so is not installed in lib/"

# The desktop entry and the software-centre metadata, as installed.
desktop=$prefix/share/applications/$app_id.desktop
metainfo=$prefix/share/metainfo/$app_id.metainfo.xml
desktop-file-validate "$desktop" || give_up "desktop-file-validate rejects $desktop"
appstreamcli validate --no-net "$metainfo" >"$work/appstream.log" 2>&1 ||
  { cat "$work/appstream.log" >&2; give_up "appstreamcli rejects $metainfo"; }
grep -qx "Icon=$app_id" "$desktop" || give_up "the desktop entry does not name the icon $app_id"
grep -q "<launchable type=\"desktop-id\">$app_id.desktop</launchable>" "$metainfo" ||
  give_up "the metainfo's launchable is not $app_id.desktop"
[[ -s $prefix/share/man/man1/framedeck.1.gz ]] || give_up "no man page"
for lang in en zh-Hans zh-Hant; do
  [[ -s $prefix/share/framedeck/$lang.lproj/Localizable.strings ]] || give_up "no $lang string table"
done

# Every icon size exists and really has that size: a PNG's width and height
# are the big-endian 32-bit numbers at bytes 16 and 20.
icons=$prefix/share/icons/hicolor
[[ -s $icons/scalable/apps/$app_id.svg ]] || give_up "no scalable icon"
for size in 16 22 24 32 48 64 128 256 512; do
  png=$icons/${size}x$size/apps/$app_id.png
  [[ -f $png ]] || give_up "no $size px icon"
  read -r w3 w2 w1 w0 h3 h2 h1 h0 < <(od -An -tu1 -j16 -N8 "$png")
  width=$(((w3 << 24) | (w2 << 16) | (w1 << 8) | w0))
  height=$(((h3 << 24) | (h2 << 16) | (h1 << 8) | h0))
  [[ $width == "$size" && $height == "$size" ]] || give_up "$png is ${width}x$height, not ${size}x$size"
done

# The installed binary, run from elsewhere with nothing pointing at the build
# tree: it must find libMediaEncoder through its own RPATH.
# Its own home and temporary folder: settings, file list and the
# single-instance socket stay in here, whatever else runs on the desktop.
binary=$prefix/bin/framedeck
run() {
  (cd "$work" && env -u LD_LIBRARY_PATH -u FRAMEDECK_RESOURCE_DIR HOME="$work/home" \
    XDG_CONFIG_HOME="$work/home/.config" XDG_CACHE_HOME="$work/home/.cache" TMPDIR="$work/tmp" \
    "$binary" "$@")
}
mkdir -p "$work/home" "$work/tmp"
encoder=$(cd "$work" && env -u LD_LIBRARY_PATH ldd "$prefix/bin/framedeck" | awk '$1 == "libMediaEncoder.so" { print $3 }')
[[ -n $encoder && $(realpath "$encoder") == "$prefix/lib/libMediaEncoder.so" ]] ||
  give_up "the installed framedeck loads libMediaEncoder from '${encoder:-nowhere}', not from $prefix/lib"

out=$(run --version) || give_up "framedeck --version failed"
[[ $out == "FrameDeck $version" ]] || give_up "framedeck --version printed '$out', not 'FrameDeck $version'"
help=$(run --help) || give_up "framedeck --help failed"
for text in --version --toggle-main-window "framedeck record" "framedeck screenshot"; do
  grep -qF -- "$text" <<<"$help" || give_up "framedeck --help does not mention $text"
done

# A second of the screen from the installed binary, when there is a screen
# (ctest runs on the test desktop: scripts/test-desktop run -- ctest …).
if [[ -z ${DISPLAY:-} ]]; then
  echo "SKIP: the recording from the installed binary (no DISPLAY; run on the test desktop)"
else
  clip=$work/clip.mp4
  run record --mode full --audio none --seconds 1 --output "$clip" >"$work/record.log" 2>&1 ||
    { cat "$work/record.log" >&2; give_up "framedeck record from the prefix failed"; }
  # A still screen is stored as few pictures; the length is what must be right.
  length=$(ffprobe -v error -select_streams v:0 -show_entries stream=duration -of csv=p=0 "$clip") ||
    give_up "ffprobe cannot read the recording"
  awk -v d="$length" 'BEGIN { exit !(d > 0.7 && d < 1.5) }' || give_up "the one-second recording lasts $length s"

  # The window, started from the prefix, reads its string tables from
  # share/framedeck there (it says "no string table" otherwise).
  # Leaks at exit are the end-to-end tests' concern; a sanitizer build is
  # asked here only whether the window starts from the prefix.
  ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0" run --quit-after 1 >"$work/gui.log" 2>&1 || { cat "$work/gui.log" >&2; give_up "the installed framedeck did not start"; }
  ! grep -q "no string table" "$work/gui.log" || { cat "$work/gui.log" >&2; give_up "string tables not found under $prefix"; }
fi

echo "OK: installed into a prefix and run from there"

# The Debian package of this tree: built (cpack first brings every target of
# the tree up to date, which the test run has done already), its contents
# listed and checked, its dependencies found by dpkg-shlibdeps, then unpacked
# and run from there. apt is asked, without installing, whether it would
# install it here.
mkdir -p "$work/deb"
cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work/deb" >"$work/cpack.log" 2>&1 ||
  { cat "$work/cpack.log" >&2; give_up "cpack -G DEB failed"; }
deb=$(find "$work/deb" -maxdepth 1 -name "framedeck_${version}_*.deb" | head -1)
[[ -n $deb ]] || { cat "$work/cpack.log" >&2; give_up "cpack made no framedeck_${version}_*.deb"; }
echo "$(basename "$deb"), $(stat -c %s "$deb") bytes:"
dpkg-deb -c "$deb" | awk '{ print $6 }' >"$work/contents"
sed 's/^/  /' "$work/contents"
for path in usr/bin/framedeck usr/lib/libMediaEncoder.so "usr/share/applications/$app_id.desktop" \
  "usr/share/metainfo/$app_id.metainfo.xml" "usr/share/icons/hicolor/scalable/apps/$app_id.svg" \
  usr/share/man/man1/framedeck.1.gz usr/share/framedeck/zh-Hant.lproj/Localizable.strings; do
  grep -qx "\./$path" "$work/contents" || give_up "the package lacks /$path"
done
depends=$(dpkg-deb -f "$deb" Depends)
echo "Depends: $depends"
for package in libqt6widgets6 libavcodec59 libpulse0 libpipewire-0.3-0 libxcb-damage0 libplist3 qt6-qpa-plugins; do
  grep -q "\b$package\b" <<<"$depends" || give_up "the package does not depend on $package"
done
if [[ $(id -u) == 0 ]] && command -v apt-get >/dev/null; then
  apt-get install -s "$deb" >"$work/apt.log" 2>&1 || { cat "$work/apt.log" >&2; give_up "apt would not install the package"; }
  grep -q "^Inst framedeck " "$work/apt.log" || { cat "$work/apt.log" >&2; give_up "apt does not plan to install framedeck"; }
fi
dpkg-deb -x "$deb" "$work/unpacked"
binary=$work/unpacked/usr/bin/framedeck
out=$(run --version) || give_up "framedeck --version from the package failed"
[[ $out == "FrameDeck $version" ]] || give_up "the packaged framedeck --version printed '$out'"
echo "OK: the Debian package"
