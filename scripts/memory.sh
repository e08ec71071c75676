#!/usr/bin/env bash
# Measures the peak memory of every effect from file to file at 24 megapixels, for pictures of 3 and 4 bytes per pixel,
# and compares it with the value declared in the effect's settings class: bytes per pixel beyond what the program needs
# for a tiny picture. Effects that process large pictures at reduced size are measured at the largest size that they do
# not reduce.
#   scripts/memory.sh [KALVATRI [EFFECT...]]     default: build/release/bin/kalvatri, all effects
set -euo pipefail
cd "$(dirname "$0")/.."
kalvatri=${1:-build/release/bin/kalvatri}
effects=("${@:2}")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
. scripts/effect-settings.sh

width=6000 height=4000
convert samples/coffee.png -resize ${width}x$height\! -quality 92 "$scratch/rgb.jpg"
convert "$scratch/rgb.jpg" -alpha set -channel A -evaluate set 60% +channel "$scratch/rgba.tif"
convert "$scratch/rgb.jpg" -resize 3072x2048 "$scratch/unreduced-rgb.jpg"
convert "$scratch/rgba.tif" -resize 3072x2048 "$scratch/unreduced-rgba.tif"
convert samples/seeds/coffee.png -filter point -resize ${width}x$height\! "$scratch/seeds.png"
convert -size ${width}x$height gradient: -resize ${width}x$height\! "$scratch/indices.jpg"
convert samples/coffee.png -resize 60x40\! "$scratch/tiny.jpg"
convert samples/coffee.png -resize 60x40\! -alpha set "$scratch/tiny.tif"

# The worst case: a face that fills the picture.
large_face=$(perl -pe 's/\d+/$& * 20/ge' <<< "$face")

suffix=jpg
peak_kib() { # arguments of `kalvatri apply`
    { command time -f '%M' "$kalvatri" apply -q -o "$scratch/out.$suffix" "$@" > /dev/null; } 2>&1 | tail -n 1
}
declared_bytes() { # effects
    for effect in "$@"; do "$kalvatri" describe "$effect" --json | grep -o '"bytesPerPixel": *[0-9.]*' | grep -o '[0-9.]*$'; done |
        sort -n | tail -n 1
}

[ ${#effects[@]} -gt 0 ] || readarray -t effects < <(list_effects "$kalvatri")

declare -A tiny=([rgb.jpg]=$(peak_kib -i "$scratch/tiny.jpg" EmptyEffect) [rgba.tif]=$(peak_kib -i "$scratch/tiny.tif" EmptyEffect))
exceeding=0
printf '%-28s %16s %16s %10s\n' effect "3 bytes a pixel" "4 bytes a pixel" declared
for effect in "${effects[@]}"; do
    # shellcheck disable=SC2206  # settings are words
    chain=($effect ${settings[$effect]:-})
    steps=("$effect") size="" pixels=$((width * height)) suffix=jpg
    chain=("${chain[@]//"$face"/$large_face}")
    case $effect in
        BlendPalette) chain+=("with=$scratch/indices.jpg") ;;
        Segmentation | Matting | ReduceLocalLuma) chain+=("with=$scratch/seeds.png") ;;
        RemoveBackground) chain+=("with=$scratch/seeds.png" adaptValue=50 "with=$scratch/rgb.jpg") suffix=tif ;;
        CreateVideo) chain=(CreateVideo width=$width height=$height) ;;
        DirectionalAreaDeformation) chain=("$effect" fromX=2000 fromY=2000 toX=3000 toY=2000 size=3000) ;;
        OilPaint) size=unreduced- pixels=$((3072 * 2048)) ;;
        DeepSuperResolutor) size=unreduced- pixels=$((9 * 3072 * 2048)) ;;  # of the result
        Cutter) chain=(Cutter Stitcher frameWidth=$width frameHeight=$height) steps=(Cutter Stitcher) ;;
        Stitcher) chain=(Cutter BlurBokeh Stitcher frameWidth=$width frameHeight=$height) steps=(Cutter BlurBokeh Stitcher) ;;
    esac
    declared=$(declared_bytes "${steps[@]}")
    measured=()
    for picture in rgb.jpg rgba.tif; do
        kib=$(peak_kib -i "$scratch/$size$picture" "${chain[@]}")
        measured+=("$(awk -v kib=$((kib - tiny[$picture])) -v pixels=$pixels 'BEGIN { printf "%.1f", kib * 1024 / pixels }')")
    done
    mark=""
    if awk -v a="${measured[0]}" -v b="${measured[1]}" -v d="$declared" 'BEGIN { exit !(a > d || b > d) }'; then
        mark="  exceeds its declaration"
        exceeding=$((exceeding + 1))
    fi
    printf '%-28s %16s %16s %10s%s\n' "$effect" "${measured[@]}" "$declared" "$mark"
done
echo "The program itself takes $((tiny[rgb.jpg] / 1024)) MiB."
[ "$exceeding" -eq 0 ]
