#!/usr/bin/env bash
# Installs the Debian packages that the build, the tests and the benchmarks use.
# Idempotent: when everything is there it says nothing and touches nothing.
set -euo pipefail

packages=(
  build-essential cmake pkg-config clang libclang-rt-14-dev valgrind
  libgtest-dev libgmock-dev libbenchmark-dev
  libsndfile1-dev libpugixml-dev libresample1-dev
  libtesseract-dev tesseract-ocr-eng
  libfftw3-dev libyuv-dev libswscale-dev libavutil-dev libebur128-dev libsoxr-dev
  ffmpeg imagemagick
  libfreetype-dev fonts-dejavu-core
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-deps: installing ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
