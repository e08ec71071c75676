#!/usr/bin/env bash
# Checks that the tests detect faults: applies the faults in Tests/Mutations.txt to a copy of the sources, one at a
# time, builds what each affects and runs its tests. Prints the faults that survive; the exit code is 1 if there are
# any. Takes about a minute per fault.
#   scripts/mutate.sh [PATTERN]     only faults whose line matches the pattern
set -euo pipefail
cd "$(dirname "$0")/.."
pattern=${1:-.}
# Laid out like this tree and its release build, so that a compiler cache can reuse the objects without faults.
copy=$PWD/build/mutate
build=$copy/build/release
log=$copy/log
mkdir -p "$copy"
# Removes leftovers of an earlier run: faults, and files that no longer exist.
(cd "$copy" && find . -path ./build -prune -o -type f -print) | sed 's|^\./||' | sort |
    comm -23 - <(git ls-files | sort) | (cd "$copy" && xargs -r -d '\n' rm)
git ls-files -z | while IFS= read -r -d '' file; do
    cmp -s "$file" "$copy/$file" || cp --parents "$file" "$copy"
done

faults=()
while IFS= read -r line; do faults+=("$line"); done < <(
    grep -v -e '^#' -e '^$' Tests/Mutations.txt | grep -- "$pattern" | sed 's/ @ /\t/g')
[ ${#faults[@]} -gt 0 ] || { echo "no fault matches $pattern"; exit 1; }

source_of() {  # FILE as it stands in Tests/Mutations.txt
    echo "${1/#Effects\//Proc/Effects/EffectsPhoto/}"
}
build_and_run() {  # PROGRAM FILTER: 0 when the tests pass, 1 when they fail, 2 when there is nothing to run
    cmake --build "$build" --target "$1" OrvexaMagick EffectsKalvatriPhoto > "$log" 2>&1 || return 2
    timeout 300 "$build/bin/$1" --gtest_brief=1 --gtest_filter="$2" > "$log" 2>&1 || return 1
}

export CCACHE_BASEDIR="$copy" CCACHE_NOHASHDIR=true CCACHE_IGNOREOPTIONS="-fmacro-prefix-map=*"
launcher=$(command -v ccache || true)
(cd "$copy" && cmake --preset release -DORVEXA_BENCH=OFF ${launcher:+-DCMAKE_CXX_COMPILER_LAUNCHER="$launcher"}) > "$log" || {
    cat "$log"
    exit 1
}
printf '%s\n' "${faults[@]}" | cut -f 1,2 | sort -u | while IFS=$'\t' read -r program filter; do
    build_and_run "$program" "$filter" < /dev/null || {
        cat "$log"
        echo "cannot be built, or fails without a fault: $program $filter"
        exit 1
    }
    grep -q '^\[  PASSED  \] [1-9]' "$log" || { echo "has no tests: $program $filter"; exit 1; }
done

survivors=0
for line in "${faults[@]}"; do
    IFS=$'\t' read -r program filter file script <<< "$line"
    file=$(source_of "$file")
    start=$SECONDS
    sed "$script" "$file" > "$copy/$file"
    if cmp -s "$file" "$copy/$file"; then
        end="changes nothing"
    else
        result=0
        build_and_run "$program" "$filter" < /dev/null || result=$?
        case $result in
            0) end="survives" ;;
            1) end="noticed" ;;
            *) end="does not compile" ;;
        esac
    fi
    [ "$end" = noticed ] || survivors=$((survivors + 1))
    echo "$end after $((SECONDS - start)) s: $file: $script"
    cp "$file" "$copy/$file"
done
echo "${#faults[@]} faults, $survivors of them not noticed"
[ "$survivors" -eq 0 ]
