#!/usr/bin/env bash
# Runs clang-tidy with the checks of .clang-tidy over the product's sources; every finding is an error.
#   scripts/tidy.sh [--quick] [BUILD]    BUILD has compile_commands.json, build/release by default
# All checks take about ten seconds of processor a file. With --quick those that take most of it are left out.
set -euo pipefail
cd "$(dirname "$0")/.."
checks=
if [ "${1:-}" = --quick ]; then
    checks='-clang-analyzer-*,-bugprone-*,bugprone-use-after-move,bugprone-dangling-handle,bugprone-infinite-loop'
    shift
fi
# The number of warnings in headers of libraries, which are left out, is on stderr. The compiler's own warnings are not
# clang's: a build that takes them for errors must not make errors of those that clang does not know.
git ls-files 'Host/*.cpp' 'Proc/*.cpp' 'Cli/*.cpp' |
    xargs -P "$(nproc)" -n 4 clang-tidy --extra-arg=-Wno-error -p "${1:-build/release}" --quiet \
        --warnings-as-errors='*' --checks="$checks" \
        2> >(grep -v -e ' generated\.$' -e '^Suppressed ' -e '^Use -header-filter' >&2)
