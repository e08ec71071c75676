#!/usr/bin/env bash
# Installs a build into a scratch prefix, then builds and runs the example of docs/host-api.md against it, and checks
# the documents.
#   scripts/check-package.sh BUILD_DIRECTORY
set -euo pipefail
build=$(cd "$1" && pwd)
source=$(cd "$(dirname "$0")/.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" > "$scratch/install.log"
# The installed headers include nothing that is not installed.
(cd "$scratch/prefix/include/orvexa" && find . -name '*.h' -printf '#include "%P"\n') > "$scratch/headers.cpp"
[ -s "$scratch/headers.cpp" ]
c++ -std=c++20 -fsyntax-only -I "$scratch/prefix/include/orvexa" "$scratch/headers.cpp"
cmake -S "$source/Tests/Package" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$scratch/prefix" > "$scratch/configure.log" || {
    cat "$scratch/configure.log"
    exit 1
}
cmake --build "$scratch/build" > "$scratch/build.log" || {
    cat "$scratch/build.log"
    exit 1
}
"$scratch/build/DiamondVignette" "$source/samples/coffee.png" "$scratch/diamond.jpg"
[ -s "$scratch/diamond.jpg" ]
"$scratch/prefix/bin/kalvatri" apply -q -i "$source/samples/coffee.png" -o "$scratch/out.png" WhiteBalance color=#c8b496
[ -s "$scratch/out.png" ]
# The models are installed, too.
"$scratch/prefix/bin/kalvatri" apply -q -i "$source/samples/astronaut.png" -o "$scratch/subject.png" Segmentation algorithm=auto
[ -s "$scratch/subject.png" ]

# Whatever an installed document links to is installed, too.
documents=$(find "$scratch/prefix/share/doc" -name '*.md')
[ -n "$documents" ] || {
    echo "No documents are installed."
    exit 1
}
while read -r document; do
    while read -r link; do
        [ -e "$(dirname "$document")/$link" ] || {
            echo "${document#"$scratch/prefix/"} links to $link, which is not installed."
            exit 1
        }
    done < <(sed '/^```/,/^```/d' "$document" | grep -oE '\]\([^)#]+' | cut -c 3- | grep -vE '^[a-z]+:')
done <<< "$documents"
echo "The installed package works."
