#!/usr/bin/env bash
# Checks that the tests bite: puts the faults of Tests/Mutations.txt into a copy of the sources, one at a time, builds
# what each touches and runs its tests. Prints which faults survive; exit code 1 if any does. Takes about a minute per
# fault.
#   scripts/mutate.sh [PATTERN]     only faults whose line matches the pattern
set -euo pipefail
cd "$(dirname "$0")/.."
pattern=${1:-.}
copy=$PWD/build/mutate/source
build=$PWD/build/mutate/build
mkdir -p "$copy"
git ls-files -z | xargs -0 cp --parents --update -t "$copy"
cmake -S "$copy" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release ${CMAKE_CXX_COMPILER_LAUNCHER:+-DCMAKE_CXX_COMPILER_LAUNCHER=$CMAKE_CXX_COMPILER_LAUNCHER} > /dev/null

make() { cmake --build "$build" --target "$1" OrvexaMagick EffectsKalvatriPhoto > "$build/log" 2>&1; }
survivors=0
while IFS=$'\t' read -r program filter file script; do
    file=${file/#Effects\//Proc\/Effects\/EffectsPhoto\/}
    fault="$file: $script"
    make "$program" || { cat "$build/log"; exit 1; }
    "$build/bin/$program" --gtest_brief=1 --gtest_filter="$filter" > "$build/log" 2>&1 || { echo "fails without a fault: $program $filter"; exit 1; }
    sed "$script" "$file" > "$copy/$file"
    if cmp -s "$file" "$copy/$file"; then
        echo "changes nothing: $fault"
        survivors=$((survivors + 1))
    elif ! make "$program"; then
        echo "does not compile: $fault"
        survivors=$((survivors + 1))
    elif "$build/bin/$program" --gtest_brief=1 --gtest_filter="$filter" > "$build/log" 2>&1; then
        echo "survives: $fault"
        survivors=$((survivors + 1))
    else
        echo "noticed: $fault"
    fi
    cp "$file" "$copy/$file"
done < <(grep -v -e '^#' -e '^$' Tests/Mutations.txt | grep -- "$pattern" | sed 's/ @ /\t/g')
echo "$survivors survive"
[ "$survivors" -eq 0 ]
