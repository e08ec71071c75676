#!/usr/bin/env bash
# Writes docs/effects.md, the reference of all effects, and the table of effects in README.md. Both are generated from
# the effects' settings declarations.
#   scripts/docs.sh [KALVATRI]     default: build/release/bin/kalvatri
set -euo pipefail
cd "$(dirname "$0")/.."
kalvatri=${1:-build/release/bin/kalvatri}
"$kalvatri" describe --markdown > docs/effects.md.new
mv docs/effects.md.new docs/effects.md
"$kalvatri" list --markdown > README.table
sed -e '/^<!-- effects, made by/,/^<!-- end of the effects/ { /^<!--/!d }' -e '/^<!-- effects, made by/r README.table' README.md > README.new
rm README.table
mv README.new README.md
