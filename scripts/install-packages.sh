#!/usr/bin/env bash
# Installs the Debian packages needed by the build, the tests, the demo and the benchmarks, unless they are installed.
#   scripts/install-packages.sh [PACKAGE]...    additional packages
set -euo pipefail

packages=(
    g++ cmake ninja-build ccache pkg-config git clang-format clang-tidy
    libboost-dev libgoogle-glog-dev libhwy-dev
    libopencv-dev libvips-dev libexiv2-dev zlib1g-dev libmagick++-dev libraw-dev
    libcli11-dev nlohmann-json3-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    libcpp-httplib-dev
    python3-numpy python3-opencv opencv-data
    python3-dev pybind11-dev python3-pil bash-completion man-db
    imagemagick libvips-tools libimage-exiftool-perl time fonts-dejavu-core
    "$@"
)

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
    echo "All packages are installed."
    exit 0
fi
echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
$sudo apt-get update -q
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
