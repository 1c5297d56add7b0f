#!/usr/bin/env bash
# Installs, only when missing, what sat builds, links and tests with. Idempotent.
set -euo pipefail

packages=(
  # toolchain, formatter and test framework
  g++ cmake make ccache clang-format googletest libgtest-dev libbenchmark-dev
  # libraries the program links
  libx11-dev zlib1g-dev libpng-dev libjpeg62-turbo-dev libgdcm-dev
  # window tests
  xvfb xauth xdotool x11-apps x11-utils xfonts-base
  # fuzzing
  clang libclang-rt-14-dev
  # independent oracles of the tests
  proj-bin python3-pyproj pigz python3 netpbm ghostscript hp2xx giflib-tools
  imagemagick libjpeg-turbo-progs
  # sources of the shipped tables (fonts, stations, symbols)
  hershey-fonts-data weather-util-data metview-data libmagics++-data
)

missing=()
for p in "${packages[@]}"; do
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
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
