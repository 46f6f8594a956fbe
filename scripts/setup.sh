#!/usr/bin/env bash
# Installs, once and only what is missing, every Debian package that building Korvat,
# running its tests and fuzzing it need; `setup.sh coverage` also what a coverage build
# needs. Safe to run again: a second run installs nothing.
set -euo pipefail

packages=(
  # build
  build-essential cmake pkg-config ninja-build
  # links the sanitized test programs in a quarter of ld's time
  lld
  # compiles the sanitized test build in half GCC's time; its runtimes hold the sanitizers
  # and libFuzzer
  clang libclang-rt-14-dev
  qt6-base-dev qt6-base-dev-tools qt6-declarative-dev qt6-declarative-dev-tools
  qt6-tools-dev qt6-l10n-tools qcoro-qt6-dev libgl-dev
  qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-layouts
  qml6-module-qtquick-window qml6-module-qtquick-dialogs qml6-module-qtqml-workerscript
  qml6-module-qtquick-templates qml6-module-qttest qml6-module-qtquick-shapes
  qml6-module-qtqml qml6-module-qtqml-models qml6-module-qt-labs-folderlistmodel
  qt6-svg-dev libqt6svg6 qt6-wayland
  # a volume backup's entries are read before a restore
  libarchive-dev
  # fonts and icons are fetched from the npm registry at build time
  openssl
  # a private session bus for the appearance and desktop-service tests
  dbus-daemon
  # the private engine the tests drive
  docker.io iptables busybox-static ca-certificates
  # a real ssh server on loopback for the remote-engine tests
  openssh-server
  # a local registry the pull-progress tests push to and pull from
  docker-registry
  # another engine's Docker API, whose reports differ from dockerd's
  podman
  # a real X server for the tray and window tests, and a screen reader's view of the window:
  # AT-SPI read from outside, and Orca itself
  xvfb xauth at-spi2-core python3-pyatspi orca
  # make package: dependencies worked out from the binary; the validators software centres
  # apply to the menu entry and the metainfo; systemd's reading of the autostart entry
  dpkg-dev file desktop-file-utils appstream systemd
)

# make coverage: llvm's tools read the profiles.
if [[ ${1:-} == coverage ]]; then
  packages+=(llvm)
fi

# npm comes with many Node installations; Debian's package only when none is on PATH.
command -v npm >/dev/null || packages+=(npm)

missing=()
for p in "${packages[@]}"; do
  [[ $p == \#* ]] && continue
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'ok installed'; then
    missing+=("$p")
  fi
done

if ((${#missing[@]} == 0)); then
  exit 0
fi

sudo=()
if [[ $(id -u) -ne 0 ]]; then
  if command -v sudo >/dev/null; then
    sudo=(sudo)
  else
    echo "setup: these packages are missing and installing them needs root: ${missing[*]}" >&2
    exit 1
  fi
fi

echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
# The engine package would try to start a system-wide daemon; the tests run their own.
policy=/usr/sbin/policy-rc.d
made_policy=0
if [[ ! -e $policy ]]; then
  printf '#!/bin/sh\nexit 101\n' | "${sudo[@]}" tee "$policy" >/dev/null
  "${sudo[@]}" chmod +x "$policy"
  made_policy=1
fi
trap '[[ $made_policy == 1 ]] && "${sudo[@]}" rm -f "$policy"' EXIT
if ! "${sudo[@]}" apt-get install -y --no-install-recommends "${missing[@]}"; then
  "${sudo[@]}" apt-get update
  "${sudo[@]}" apt-get install -y --no-install-recommends "${missing[@]}" || {
    echo "setup: could not install ${missing[*]} (see apt-get's message above)" >&2
    exit 1
  }
fi
