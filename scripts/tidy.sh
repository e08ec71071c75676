#!/usr/bin/env bash
# Runs clang-tidy with the checks of .clang-tidy over the product's sources; every finding is an error.
#   scripts/tidy.sh [BUILD]              all checks; BUILD has compile_commands.json, build/release by default
#   CHECKS=-... scripts/tidy.sh [BUILD]  with these changes to the list
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/release}
git ls-files 'Host/*.cpp' 'Proc/*.cpp' 'Cli/*.cpp' |
    xargs -P "$(nproc)" -n 4 clang-tidy-14 -p "$build" --quiet --warnings-as-errors='*' --checks="${CHECKS:-}" 2> /dev/null
