#!/usr/bin/env bash
# Prints a table of results of the effects with neural networks: each goal, the program's result on degraded copies of
# photographs excluded from training, and that of a conventional method.
#   scripts/models-table.sh [PROGRAM]      default: build/release/bin/kalvatri
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh lomiri-wallpapers-16.04 > /dev/null
exec /usr/bin/python3 models/evaluate/table.py "$@"
