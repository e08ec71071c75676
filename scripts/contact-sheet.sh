#!/usr/bin/env bash
# Runs every effect on two photographs and arranges the results on one sheet.
#   scripts/contact-sheet.sh [KALVATRI] [SHEET]     defaults: build/release/bin/kalvatri, demo/contact-sheet.png
set -euo pipefail
cd "$(dirname "$0")/.."
kalvatri=${1:-build/release/bin/kalvatri}
sheet=${2:-demo/contact-sheet.png}
mkdir -p "$(dirname "$sheet")"
font=/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

. scripts/effect-settings.sh

number=100
for name in astronaut coffee; do
    photo=samples/$name.png
    read -r width height < <(identify -format '%w %h\n' "$photo")
    "$kalvatri" apply -q -i "$photo" -o "$scratch/indices.png" --format png BlackWhite threshold=0.6 ShapeMask shape=circle threshold=1.01
    for effect in $(list_effects "$kalvatri"); do
        output=$scratch/$number-$effect.png
        chain=("$effect" ${settings[$effect]:-})
        case $effect in
            BlendPalette) chain+=("with=$scratch/indices.png") ;;
            Matting) chain=(Segmentation "with=samples/seeds/$name.png" Trimap Original Matting) ;;
            ReduceLocalLuma) chain+=("with=$scratch/indices.png") ;;
            RemoveBackground)
                chain=(Segmentation "with=samples/seeds/$name.png" Original RemoveBackground)
                ;;
            AutoGlareRemove | DeepAutoRetoucher | DrawFace | EyeExtending | FaceMask | FaceRecognition | FaceThinning)
                [ "$name" != coffee ] || continue  # it has no face
                chain=("$effect")
                ;;
            Segmentation) chain+=("with=samples/seeds/$name.png") ;;
            Cutter)
                "$kalvatri" apply -q -i "$photo" -o "$scratch/patch-{}.png" Cutter patchWidth=250 patchHeight=250
                montage -font "$font" $(ls -v "$scratch"/patch-*.png) -tile 3x -geometry '100x100>+4+4' "$output"
                rm "$scratch"/patch-*.png
                number=$((number + 1))
                continue
                ;;
            Stitcher) chain=(Cutter patchWidth=250 patchHeight=250 BlurBokeh Stitcher frameWidth="$width" frameHeight="$height") ;;
        esac
        "$kalvatri" apply -q -i "$photo" -o "$output" "${chain[@]}" || {
            echo "$effect failed on $photo" >&2
            exit 1
        }
        number=$((number + 1))
    done
done
for picture in "$scratch"/1*.png; do
    name=$(basename "$picture" .png)
    convert "$picture" -background '#333' -flatten -resize 240x240 -background white -gravity center -extent 250x250 -gravity south -splice 0x20 -font "$font" -pointsize 14 \
        -annotate +0+2 "${name#*-}" "$scratch/tile-$name.png"
done
montage -font "$font" "$scratch"/tile-*.png -tile 8x -geometry +2+2 "$sheet"
echo "$sheet"
