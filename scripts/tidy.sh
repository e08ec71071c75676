#!/usr/bin/env bash
# Runs clang-tidy with the checks in .clang-tidy over the product's sources; every finding is an error.
#   scripts/tidy.sh [--quick]
# All checks take about ten seconds of processor time per file. --quick omits those that take most of it.
set -euo pipefail
cd "$(dirname "$0")/.."
checks=-bugprone-suspicious-include  # several files are checked as one
if [ "${1:-}" = --quick ]; then
    checks+=',-clang-analyzer-*,-bugprone-*,bugprone-use-after-move,bugprone-dangling-handle,bugprone-infinite-loop'
fi
# Nothing is compiled here. Reading the libraries' headers takes longer than the quick checks; as one, files share them.
build=build/tidy
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_UNITY_BUILD=ON -DORVEXA_TESTS=OFF \
    -DORVEXA_PYTHON=OFF > /dev/null
# clang-tidy reports the number of suppressed warnings in library headers on stderr. The build's warning options are
# meant for GCC: turning warnings into errors must not apply to options that clang does not know.
python3 -c 'import json, sys; [print(entry["file"]) for entry in json.load(open(sys.argv[1]))]' \
    "$build/compile_commands.json" |
    xargs -P "$(nproc)" -n 1 clang-tidy --extra-arg=-Wno-error -p "$build" --quiet --header-filter="^$PWD/(Host|Proc|Cli)/" \
        --warnings-as-errors='*' --checks="$checks" \
        2> >(grep -v -e ' generated\.$' -e '^Suppressed ' -e '^Use -header-filter' >&2)
