#!/usr/bin/env bash
# Checks that results depend neither on the processor's vector instructions nor on the number of threads: runs every
# effect on pictures of several formats and odd sizes, by default and in each of the configurations listed below, and
# compares digests of the results. The rounding of networks depends on OpenCV's instructions, so effects that use them
# are compared only where those are the same.
#   scripts/same-bytes.sh [KALVATRI]     default: build/release/bin/kalvatri
set -euo pipefail
cd "$(dirname "$0")/.."
kalvatri=${1:-build/release/bin/kalvatri}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
. scripts/effect-settings.sh

# name, then environment variables, then options of `kalvatri apply`
opencv=OPENCV_CPU_DISABLE=SSE4.1,SSE4.2,AVX,FP16,AVX2,FMA3,AVX512-SKX
highway=ORVEXA_VECTORS=baseline
library=GLIBC_TUNABLES=glibc.cpu.hwcaps=-SSE4_1,-SSE4_2,-AVX,-AVX2,-FMA,-FMA4,-AVX512F,-AVX512VL,-AVX512BW,-ERMS,-FSRM
ways=(
    "as-it-comes|"
    "one-thread||--threads 1"
    "seven-threads||--threads 7"
    "baseline-opencv|$opencv"
    "baseline-highway|$highway"
    "baseline-c-library|$library"
    "baseline-all|$opencv $highway $library|--threads 3"
)

# RGB, RGBA of an odd size, and the same in 4:2:0 with alpha.
convert samples/chelsea.png "$scratch/rgb.tif"
convert samples/seeds/chelsea.png "$scratch/seeds-rgb.tif"
convert samples/chelsea.png -crop 257x193+110+40 +repage \( +clone -fill black -colorize 100 -fill white -draw 'ellipse 128,96 90,70 0,360' \
    -blur 0x9 \) -alpha off -compose copy_opacity -composite "$scratch/rgba.tif"
convert samples/seeds/chelsea.png -crop 257x193+110+40 +repage "$scratch/seeds-rgba.tif"
pictures=("rgb|rgb|" "rgba|rgba|" "yuva420|rgba|--pixfmt 33")

for picture in rgb rgba; do
    "$kalvatri" apply -q -i "$scratch/$picture.tif" -o "$scratch/indices-$picture.tif" BlackWhite threshold=0.6 ShapeMask shape=circle \
        threshold=1.01
done

# Each line is the name of a result, followed by the arguments of `kalvatri apply` for it.
for picture in "${pictures[@]}"; do
    IFS='|' read -r name file options <<< "$picture"
    read -r width height < <(identify -format '%w %h\n' "$scratch/$file.tif")
    for effect in $(list_effects "$kalvatri"); do
        chain="$effect ${settings[$effect]:-}"
        cut="Cutter patchWidth=130 patchHeight=110 overlapX=20 overlapY=20"
        join="Stitcher frameWidth=$width frameHeight=$height overlapX=20 overlapY=20"
        case $effect in
            BlendPalette)
                [ -z "$options" ] || continue  # draws on RGB only
                chain+=" with=$scratch/indices-$file.tif"
                ;;
            Segmentation) chain+=" with=$scratch/seeds-$file.tif" ;;
            Matting) chain="ShapeMask Trimap Original Matting" ;;
            ReduceLocalLuma) chain+=" with=$scratch/seeds-$file.tif" ;;
            RemoveBackground)
                chain="ShapeMask Original RemoveBackground adaptValue=60"
                chain+=" with=$scratch/$file.tif"
                ;;
            DirectionalAreaDeformation) chain="$effect fromX=120 fromY=90 toX=170 toY=100 size=80" ;;
            Cutter) chain="$cut TiltShift $join" ;;
            Stitcher) chain="$cut BlurBokeh OilPaint $join" ;;
        esac
        echo "$effect-$name -i $scratch/$file.tif $options $chain"
    done
done > "$scratch/runs"

one_run() { # folder options line
    local words
    read -ra words <<< "$3"
    # shellcheck disable=SC2086  # options are words
    "$KALVATRI" apply -q -o "$1/${words[0]}.png" $2 "${words[@]:1}" || {
        echo "${words[0]} cannot be run" >&2
        exit 255
    }
}
export -f one_run
export KALVATRI=$kalvatri

differing=0
for way in "${ways[@]}"; do
    IFS='|' read -r name environment options <<< "$way"
    mkdir "$scratch/$name"
    # shellcheck disable=SC2086  # assignments are words
    env $environment xargs -d '\n' -P "$(nproc)" -I {} bash -c 'one_run "$@"' bash "$scratch/$name" "$options" {} < "$scratch/runs"
    (cd "$scratch/$name" && sha256sum -- *.png) | sort > "$scratch/$name.sums"
    while read -r result; do
        [[ $result != Deep* || $environment != *"$opencv"* ]] || continue
        echo "$name: $result differs"
        differing=$((differing + 1))
    done < <(comm -13 "$scratch/as-it-comes.sums" "$scratch/$name.sums" | awk '{print $2}')
    rm -r "${scratch:?}/$name"
done
echo "$(wc -l < "$scratch/runs") results in ${#ways[@]} ways: $differing differ"
[ "$differing" -eq 0 ]
