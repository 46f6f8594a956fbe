#!/usr/bin/env bash
# Fetches the fonts and icons Korvat draws with from the npm registry, checks each
# package against its pinned integrity hash, and lays out what the build needs:
#   OUT/Fonts/*.ttf        the four faces, in the weights the interface uses
#   OUT/icons/<symbol>.svg one icon per row of the symbol table
# Packages are cached, so a rebuild needs no network.
#   usage: assets.sh OUT ICON_TABLE
set -euo pipefail
out=${1:?usage: assets.sh OUT ICON_TABLE}
table=${2:?usage: assets.sh OUT ICON_TABLE}
cache=${KORVAT_ASSET_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/korvat-assets}

# name version integrity
packages=(
  "@expo-google-fonts/space-grotesk 0.4.1 sha512-ZVQYw4Ok/pgcSJiufP8oRZE3AVxS9xtmKEUfsurbHkHNdMc/GA1gDXP9G4Cr7KL4KqSc0haexR2TuMigotCn4Q=="
  "@expo-google-fonts/inter 0.4.2 sha512-syfiImMaDmq7cFi0of+waE2M4uSCyd16zgyWxdPOY7fN2VBmSLKEzkfbZgeOjJq61kSqPBNNtXjggiQiSD6gMQ=="
  "@expo-google-fonts/jetbrains-mono 0.4.1 sha512-CslACrtMOcRwoWXCO7OMEI+9w3fukWSoBtvNz46OqPoogEuuoY0tkDY1O8sFumk8t0pC6Cx0Xr95O0TOQhpkug=="
  "lucide-static 1.62.0 sha512-WBZA/m2PvkFpMGHDtsBck5P2A9G4ehLlYu4GwwICcmEm1BvYVgj00lCDxKRWLlbMlOibLaiwdQ88G5pHkSWgwA=="
)
fonts=(
  space-grotesk:SpaceGrotesk_400Regular space-grotesk:SpaceGrotesk_500Medium
  space-grotesk:SpaceGrotesk_600SemiBold space-grotesk:SpaceGrotesk_700Bold
  inter:Inter_400Regular inter:Inter_500Medium inter:Inter_600SemiBold
  jetbrains-mono:JetBrainsMono_400Regular jetbrains-mono:JetBrainsMono_500Medium
  jetbrains-mono:JetBrainsMono_600SemiBold
)

integrity_of() { printf 'sha512-%s' "$(openssl dgst -sha512 -binary "$1" | base64 -w0)"; }

mkdir -p "$cache"
declare -A unpacked
for row in "${packages[@]}"; do
  read -r name version integrity <<<"$row"
  tarball="$cache/$(printf '%s' "${name#@}" | tr / -)-$version.tgz"
  if [[ ! -f $tarball || $(integrity_of "$tarball") != "$integrity" ]]; then
    command -v npm >/dev/null || { echo "assets: npm is needed to fetch $name (scripts/setup.sh installs it)" >&2; exit 1; }
    tmp=$(mktemp -d)
    (cd "$tmp" && npm pack --silent "$name@$version" >/dev/null 2>"$tmp/err") || {
      echo "assets: could not fetch $name@$version: $(tail -n 3 "$tmp/err")" >&2; rm -rf "$tmp"; exit 1; }
    got=$(integrity_of "$tmp"/*.tgz)
    if [[ $got != "$integrity" ]]; then
      echo "assets: $name@$version does not match its pinned integrity ($got)" >&2; rm -rf "$tmp"; exit 1
    fi
    mv "$tmp"/*.tgz "$tarball"
    rm -rf "$tmp"
  fi
  dir="$cache/$(basename "$tarball" .tgz)"
  if [[ ! -f $dir/.complete ]]; then
    rm -rf "$dir" && mkdir -p "$dir"
    tar -xzf "$tarball" -C "$dir" --strip-components=1
    touch "$dir/.complete"
  fi
  unpacked[${name##*/}]=$dir
done

mkdir -p "$out/Fonts" "$out/icons"
for f in "${fonts[@]}"; do
  pkg=${f%%:*} file=${f#*:}
  src=$(find "${unpacked[$pkg]}" -name "$file.ttf" | head -n 1)
  [[ -n $src ]] || { echo "assets: $file.ttf is not in $pkg" >&2; exit 1; }
  cp -u "$src" "$out/Fonts/$file.ttf"
done
cp -u "${unpacked[lucide-static]}/LICENSE" "$out/icons/LICENSE"
while IFS=$'\t' read -r symbol icon; do
  [[ -z $symbol || $symbol == \#* ]] && continue
  src="${unpacked[lucide-static]}/icons/$icon.svg"
  [[ -f $src ]] || { echo "assets: icon $icon (for $symbol) is not in lucide-static" >&2; exit 1; }
  cp -u "$src" "$out/icons/$symbol.svg"
done <"$table"
