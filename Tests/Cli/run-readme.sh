#!/usr/bin/env bash
# Runs the README's examples as they stand, in a scratch folder that shows the samples as a clone does.
#   run-readme.sh KALVATRI SOURCE_DIRECTORY
set -euo pipefail
kalvatri=$(realpath "$1")
source=$(realpath "$2")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# All blocks of shell commands in which kalvatri is called.
awk '/^```sh$/ { inside = 1; block = ""; next }
     /^```$/   { if (inside && block ~ /(^|\n|\| )kalvatri /) printf "%s", block; inside = 0 }
     inside    { block = block $0 "\n" }' "$source/README.md" > "$scratch/examples.sh"
wanted=$(grep -cE '(^|\| )kalvatri ' "$scratch/examples.sh") || {
    echo "The README shows no commands."
    exit 1
}

mkdir "$scratch/bin" "$scratch/clone"
ln -s "$kalvatri" "$scratch/bin/kalvatri"
ln -s "$source/samples" "$scratch/clone/samples"
cd "$scratch/clone"
PATH="$scratch/bin:$PATH" bash -euxo pipefail "$scratch/examples.sh"

# Every result that an example names is a file that is not empty, or a folder that is not.
for result in $(grep -E '(^|\| )kalvatri ' "$scratch/examples.sh" | grep -oE '(-o|>) [^ -]+' | cut -d ' ' -f 2 | sort -u); do
    if [ -d "$result" ]; then [ -n "$(ls "$result")" ]; else [ -s "$result" ]; fi || {
        echo "The README's examples did not make $result."
        exit 1
    }
done
echo "$wanted examples of the README work."
