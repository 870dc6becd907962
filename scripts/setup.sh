#!/usr/bin/env bash
# Installs every Debian package the build, the tests and the benchmarks need.
# Safe to run again: apt-get skips what is already there.
set -euo pipefail
packages=(
  build-essential cmake ninja-build pkg-config python3
  libusb-1.0-0-dev libpng-dev libtiff-dev libjpeg62-turbo-dev libturbojpeg0-dev
  libcairo2-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libopencv-core-dev libopencv-imgproc-dev
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo=""
  [[ $(id -u) -eq 0 ]] || sudo=sudo
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -q
  $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
