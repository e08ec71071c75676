#!/usr/bin/env bash
# Installs what is missing, checks the formatting of the sources, builds with warnings as errors and runs every test,
# then builds and tests again under the sanitizers.
#   scripts/check.sh            release, address + undefined behaviour, thread
#   scripts/check.sh release    one of release, asan, tsan
set -euo pipefail
cd "$(dirname "$0")/.."

# The page of kalvatri preview is tested in a browser.
browser=(chromium chromium-driver python3-selenium)
command -v npm > /dev/null || browser+=(npm)
scripts/install-packages.sh "${browser[@]}"
presets=("${@:-release}")
[ $# -gt 0 ] || presets=(release asan tsan)

# A leak or a race anywhere fails the test that exposes it. Libraries that are not built with the sanitizers are
# suppressed by name. The address sanitizer's list of thread-local blocks is unreliable when libraries are loaded while
# threads run, so it is disabled.
export ASAN_OPTIONS="detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1:intercept_tls_get_addr=0"
export LSAN_OPTIONS="suppressions=$PWD/scripts/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export TSAN_OPTIONS="suppressions=$PWD/scripts/tsan.supp:halt_on_error=1:ignore_noninstrumented_modules=1"

# Objects are shared between clones of the same sources.
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=true CCACHE_IGNOREOPTIONS="-fmacro-prefix-map=*"

echo "== format"
git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format --dry-run -Werror

for preset in "${presets[@]}"; do
    echo "== $preset: build"
    # The sanitizer builds compile several files as one translation unit, where a private name may shadow another
    # file's.
    werror=$([ "$preset" = release ] && echo ON || echo OFF)
    cmake --preset "$preset" -DORVEXA_WERROR="$werror" -DCMAKE_CXX_COMPILER_LAUNCHER=ccache > "/tmp/orvexa-configure-$preset.log" || {
        cat "/tmp/orvexa-configure-$preset.log"
        exit 1
    }
    cmake --build --preset "$preset"
    echo "== $preset: test"
    ctest --preset "$preset"
done

if [ -e build/release ] && [[ " ${presets[*]} " == *" release "* ]]; then
    echo "== release: clang-tidy"
    scripts/tidy.sh --quick
    echo "== release: exported symbols of the module"
    exported=$(nm -D --defined-only build/release/lib/kalvatri/EffectsKalvatriPhoto.so | awk '{print $3}')
    [ "$exported" = "Registrator" ] || {
        echo "The module exports more than Registrator:"
        echo "$exported"
        exit 1
    }
    echo "== release: the same bytes with any vector code and any number of threads"
    scripts/same-bytes.sh build/release/bin/kalvatri
    echo "== release: a program built against the installed package"
    scripts/check-package.sh build/release
fi
echo "All checks passed: ${presets[*]}"
