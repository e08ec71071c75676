#!/usr/bin/env bash
# Installs a build into a scratch prefix, then configures, builds and runs the consumer program of Tests/Package against it.
#   scripts/check-package.sh BUILD_DIRECTORY
set -euo pipefail
build=$(cd "$1" && pwd)
source=$(cd "$(dirname "$0")/.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" > "$scratch/install.log"
cmake -S "$source/Tests/Package" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$scratch/prefix" > "$scratch/configure.log" || {
    cat "$scratch/configure.log"
    exit 1
}
cmake --build "$scratch/build" > "$scratch/build.log" || {
    cat "$scratch/build.log"
    exit 1
}
"$scratch/build/Consumer"
"$scratch/prefix/bin/kalvatri" apply -q -i "$source/samples/coffee.png" -o "$scratch/out.png" WhiteBalance color=#c8b496
[ -s "$scratch/out.png" ]
echo "The installed package works."
