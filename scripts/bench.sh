#!/usr/bin/env bash
# Builds the benchmarks and prints each effect's speed as a ratio to a peer's in the same run: above 1 is faster than
# the peer.
#   scripts/bench.sh [FILTER]     FILTER is a regular expression over the benchmarks' names
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh
cmake --preset release -DCMAKE_CXX_COMPILER_LAUNCHER=ccache > /tmp/orvexa-configure-bench.log
cmake --build --preset release --target EffectsBench FaceDetectionBench GridGraphBench NeuralBench kalvatri EffectsKalvatriPhoto OrvexaImageFiles
build/release/bin/EffectsBench ${1:+--benchmark_filter="$1"}
[ $# -eq 0 ] || exit 0

echo
build/release/bin/FaceDetectionBench
echo
build/release/bin/GridGraphBench
echo
build/release/bin/NeuralBench

# Whole commands on a photograph of 24 megapixels: fastest of five for the time, largest for the memory.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
convert samples/coffee.png -resize '6000x4000!' -attenuate 0.3 +noise gaussian -quality 92 "$scratch/photo.jpg"
measure() { # NAME COMMAND...: leaves seconds in ${NAME}_s and KiB in ${NAME}_k
    local name=$1 best=999999 most=0 seconds kib
    shift
    for _ in 1 2 3 4 5; do
        read -r seconds kib < <({ command time -f '%e %M' "$@" > /dev/null; } 2>&1 | tail -n 1)
        best=$(awk -v a="$seconds" -v b="$best" 'BEGIN { print (a < b) ? a : b }')
        most=$(awk -v a="$kib" -v b="$most" 'BEGIN { print (a > b) ? a : b }')
    done
    printf -v "${name}_s" %s "$best"
    printf -v "${name}_k" %s "$most"
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%8.2f", a / b }'; }

measure ours build/release/bin/kalvatri apply -q -i "$scratch/photo.jpg" -o "$scratch/ours.jpg" --quality 92 WhiteBalance color=#c8b496
measure tone build/release/bin/kalvatri apply -q -i "$scratch/photo.jpg" -o "$scratch/ours.jpg" --quality 92 BalanceLuma shadows=40
export MAGICK_THREAD_LIMIT=1
measure level convert "$scratch/photo.jpg" -channel R -level '0%,113%' -channel G -level '0%,102%' -channel B -level '0%,85%' +channel \
    -quality 92 "$scratch/peer.jpg"
measure gamma convert "$scratch/photo.jpg" -gamma 1.2 -quality 92 "$scratch/peer.jpg"
measure list build/release/bin/kalvatri list
measure avif build/release/bin/kalvatri apply -q -i "$scratch/photo.jpg" -o "$scratch/ours.avif" --quality 60 EmptyEffect
measure vips vips copy "$scratch/photo.jpg" "$scratch/peer.avif[Q=60]"
measure to_jxl build/release/bin/kalvatri apply -q -i "$scratch/photo.jpg" -o "$scratch/ours.jxl" --quality 75 EmptyEffect
measure vips_to_jxl vips copy "$scratch/photo.jpg" "$scratch/peer.jxl[Q=75]"
measure from_jxl build/release/bin/kalvatri apply -q -i "$scratch/peer.jxl" -o "$scratch/ours.jpg" --quality 75 EmptyEffect
measure vips_from_jxl vips copy "$scratch/peer.jxl" "$scratch/peer.jpg[Q=75]"
echo
echo "whole command, 24-megapixel JPEG, against ImageMagick convert with one thread"
echo "  WhiteBalance, -level: times as fast      $(ratio "$level_s" "$ours_s")   goal 3"
echo "  WhiteBalance, -level: share of memory    $(ratio "$ours_k" "$level_k")   goal 0.5 or less"
echo "  BalanceLuma, -gamma: times as fast       $(ratio "$gamma_s" "$tone_s")   goal 2"
echo "  to AVIF, vips copy: times as fast        $(ratio "$vips_s" "$avif_s")   goal 0.83"
echo "  to JPEG XL, vips copy: times as fast     $(ratio "$vips_to_jxl_s" "$to_jxl_s")   goal 0.83"
echo "  from JPEG XL, vips copy: times as fast   $(ratio "$vips_from_jxl_s" "$from_jxl_s")   goal 0.83"
echo "kalvatri list                              $list_s s   goal 0.06"

# Forty photographs of 12 megapixels, two at a time, beside ImageMagick with as many threads as it likes.
unset MAGICK_THREAD_LIMIT
mkdir "$scratch/photos" "$scratch/peer"
for number in $(seq 40); do
    convert samples/coffee.png -resize '4000x3000!' -attenuate 0.2 -seed "$number" +noise gaussian -quality 92 "$scratch/photos/$number.jpg"
done
once() { # NAME COMMAND...: as measure, one run
    local name=$1 seconds kib
    shift
    read -r seconds kib < <({ command time -f '%e %M' "$@" > /dev/null; } 2>&1 | tail -n 1)
    printf -v "${name}_s" %s "$seconds"
    printf -v "${name}_k" %s "$kib"
}
once batch build/release/bin/kalvatri batch -q -j 2 -o "$scratch/batch" "$scratch/photos" --quality 92 -- BalanceLuma shadows=40 Vignette
once mogrify mogrify -path "$scratch/peer" -gamma 1.2 -vignette 0x3 -quality 92 "$scratch"/photos/*.jpg
echo
echo "kalvatri batch -j 2, 40 photographs of 12 megapixels, BalanceLuma and Vignette, against mogrify -gamma -vignette"
echo "  times as fast      $(ratio "$mogrify_s" "$batch_s")   goal 2"
echo "  share of memory    $(ratio "$batch_k" "$mogrify_k")   goal 0.5 or less"

# Two hundred pictures in eight parts, two parts at a time, against all of them at once.
mkdir "$scratch/many"
for photo in "$scratch"/photos/*.jpg; do
    for copy in a b c d e; do ln "$photo" "$scratch/many/$copy-${photo##*/}"; done
done
several() { build/release/bin/kalvatri batch -q "$@" "$scratch/many" --quality 92 -- BalanceLuma shadows=40 Vignette; }
export -f several
export scratch
once whole bash -c 'several -j 2 -o "$scratch/whole"'
once parts bash -c 'seq 8 | xargs -P 2 -I {} bash -c "several -j 1 --part {}/8 -o $scratch/parts"'
echo
echo "kalvatri batch --part K/8, two parts at a time, 200 photographs of 12 megapixels, against one batch -j 2"
echo "  share of time      $(ratio "$parts_s" "$whole_s")   goal 1.1 or less"
