#!/usr/bin/env bash
# Prints what the effects with neural networks reach, as a table: each goal, what the program makes of damaged copies of
# photographs that no training saw, and what a peer without a network makes of them.
#   scripts/models-table.sh [PROGRAM]      default: build/release/bin/kalvatri
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh lomiri-wallpapers-16.04 > /dev/null
exec /usr/bin/python3 models/evaluate/table.py "$@"
