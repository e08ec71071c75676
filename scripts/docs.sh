#!/usr/bin/env bash
# Writes docs/effects.md, the reference of all effects, from what the effects say of themselves.
#   scripts/docs.sh [KALVATRI]     default: build/release/bin/kalvatri
set -euo pipefail
cd "$(dirname "$0")/.."
"${1:-build/release/bin/kalvatri}" describe --markdown > docs/effects.md.new
mv docs/effects.md.new docs/effects.md
