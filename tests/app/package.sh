#!/usr/bin/env bash
# Builds the Debian package from a build tree, unpacks it into a temporary prefix, checks
# that it holds what an installed desktop program needs, that its menu entry and AppStream
# metainfo pass the validators software centres apply, and runs its self-test from there.
#   usage: package.sh BUILD_DIR
set -euo pipefail
build=${1:?usage: package.sh BUILD_DIR}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Uncompressed: what the package holds is the question, and the test build's program is large.
(cd "$build" && cpack -G DEB -D CPACK_DEBIAN_COMPRESSION_TYPE=none -B "$work/out" >"$work/cpack.log" 2>&1) || { cat "$work/cpack.log"; exit 1; }
deb=$(ls "$work"/out/korvat_*.deb)
root=$work/root
dpkg-deb -x "$deb" "$root"

fail() { echo "package: $*" >&2; exit 1; }
for f in usr/bin/korvat usr/share/applications/korvat.desktop usr/share/icons/hicolor/scalable/apps/korvat.svg \
         usr/share/icons/hicolor/22x22/apps/korvat.png usr/share/icons/hicolor/256x256/apps/korvat.png \
         usr/share/korvat/Fonts/Inter_400Regular.ttf usr/share/korvat/Fonts/JetBrainsMono_400Regular.ttf \
         usr/share/korvat/Fonts/SpaceGrotesk_600SemiBold.ttf usr/share/metainfo/dev.korvat.korvat.metainfo.xml; do
  [[ -e $root/$f ]] || fail "missing $f"
done
grep -qx 'Exec=korvat' "$root/usr/share/applications/korvat.desktop" || fail "the menu entry does not start korvat"
desktop-file-validate "$root/usr/share/applications/korvat.desktop" || fail "the menu entry is not valid"
metainfo=$root/usr/share/metainfo/dev.korvat.korvat.metainfo.xml
appstreamcli validate --no-net "$metainfo" >"$work/validate.log" 2>&1 || { cat "$work/validate.log"; fail "the metainfo is not valid"; }
newest=$(grep -o -m1 '<release version="[^"]*"' "$metainfo" | cut -d'"' -f2)
[[ $newest == "$(dpkg-deb -f "$deb" Version)" ]] || fail "the metainfo's newest release is $newest, the package's version $(dpkg-deb -f "$deb" Version)"
depends=$(dpkg-deb -f "$deb" Depends)
[[ $depends == *libqt6quick6* && $depends == *qml6-module-qtquick-controls* ]] || fail "dependencies incomplete: $depends"
[[ $(dpkg-deb -f "$deb" Recommends) == *docker* ]] || fail "no docker client recommended"

out=$(env -u DISPLAY -u WAYLAND_DISPLAY HOME="$work/home" DOCKER_CONFIG="$work/docker" \
      DOCKER_HOST=unix:///nope/korvat-package.sock "$root/usr/bin/korvat" --selftest)
grep -q ' passed, 0 failed$' <<<"$out" || fail "self-test: $out"
grep -qx "fonts: 10 in $root/usr/share/korvat/Fonts" <<<"$out" || fail "fonts not found: $(grep '^fonts' <<<"$out")"
echo "1 passed, 0 failed: $(basename "$deb") holds the program, a valid menu entry and metainfo, icons and fonts; its self-test runs"
