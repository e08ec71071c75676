#!/usr/bin/env bash
# Installs what is missing, builds the fuzzers with clang and the address and undefined behaviour sanitizers, and runs
# each of them.
#   scripts/fuzz.sh MINUTES [FUZZER]    MINUTES for each of ChainFuzzer and ImageFuzzer, or for the one named
# The corpus is kept in build/fuzz/corpus for the next run. An input that crashes a fuzzer is written to
# build/fuzz/found; once its fault is fixed, it belongs in Tests/Fuzz/Corpus, which every test run replays.
set -euo pipefail
cd "$(dirname "$0")/.."
minutes=${1:?the minutes for each fuzzer are missing}
fuzzers=("${@:2}")
[ ${#fuzzers[@]} -gt 0 ] || fuzzers=(ChainFuzzer ImageFuzzer)

scripts/install-packages.sh clang libclang-rt-dev
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=true
cmake --preset fuzz -DCMAKE_CXX_COMPILER_LAUNCHER=ccache > /dev/null
cmake --build --preset fuzz --target "${fuzzers[@]}"

# The codecs are not built with the sanitizers, so their leaks cannot be distinguished from cached memory; the tests
# check for ours.
export ASAN_OPTIONS="detect_leaks=0:allocator_may_return_null=1" UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
mkdir -p build/fuzz/found
status=0
for fuzzer in "${fuzzers[@]}"; do
    kind=${fuzzer%Fuzzer}
    mkdir -p "build/fuzz/corpus/$kind"
    echo "== $fuzzer: $minutes minutes"
    nice -n 19 "build/fuzz/bin/$fuzzer" -max_total_time=$((minutes * 60)) -max_len=65536 -timeout=60 -rss_limit_mb=4096 \
        -print_final_stats=1 -artifact_prefix="build/fuzz/found/$kind-" \
        "build/fuzz/corpus/$kind" "Tests/Fuzz/Corpus/$kind" 2>&1 | tee "build/fuzz/$fuzzer.log" | grep -E '^(stat::|==|SUMMARY|broken)|ERROR|Test unit' ||
        status=1
done
exit $status
