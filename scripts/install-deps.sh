#!/usr/bin/env bash
# Installs every Debian package the build, the tests, the editor, the benchmarks and the fuzzing
# programs need.
# Idempotent: when everything is present it only checks and returns.
set -euo pipefail

PACKAGES=(
  build-essential cmake pkg-config
  qtbase5-dev qtbase5-dev-tools libqt5opengl5-dev qt5-image-formats-plugins qttools5-dev-tools
  qttranslations5-l10n libqt5svg5
  adwaita-icon-theme hicolor-icon-theme desktop-file-utils
  libvips-dev libvips-tools
  libjpeg62-turbo-dev
  libexiv2-dev
  libgoogle-glog-dev libgflags-dev
  libboost-dev
  libgtest-dev libgmock-dev googletest
  libjpeg-turbo-progs
  xvfb xauth xdotool imagemagick
  fonts-dejavu-core
  clang libclang-rt-14-dev
)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
