#!/usr/bin/env bash
# Runs every effect on two photographs and lays the results out on one sheet.
#   scripts/contact-sheet.sh [KALVATRI] [SHEET]     defaults: build/release/bin/kalvatri, demo/contact-sheet.png
set -euo pipefail
cd "$(dirname "$0")/.."
kalvatri=${1:-build/release/bin/kalvatri}
sheet=${2:-demo/contact-sheet.png}
mkdir -p "$(dirname "$sheet")"
font=/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Settings that show what an effect does, where its defaults leave a photograph as it is; effects that are not listed run with their defaults.
declare -A settings=(
    [BalanceLuma]="shadows=60 highlights=20 autoContrast=true"
    [BlendPalette]="with=$scratch/indices.png alpha=160 palette=0:#203080ff,255:#ffa03080"
    [ColorBalanceAuto]="whiteBalance=true lightBalance=true"
    [BlurRadial]="mode=spin angle=20 strength=0.2"
    [ColorReduce]="reducedColor=red"
    [CreateVideo]="width=400 height=300 color=#3878a0"
    [DirectionalAreaDeformation]="fromX=250 fromY=120 toX=330 toY=120 size=200"
    [Segmentation]="demoMode=true alpha=160 smooth=2"
    [TintTemperature]="temperature=40 tint=-10"
    [WhiteBalance]="color=#c8b496"
)

number=100
for name in astronaut coffee; do
    photo=samples/$name.png
    read -r width height < <(identify -format '%w %h\n' "$photo")
    "$kalvatri" apply -q -i "$photo" -o "$scratch/indices.png" --format png BlackWhite threshold=0.6 ShapeMask shape=circle threshold=1.01
    for effect in $("$kalvatri" list --json | grep -o '"effect": *"[^"]*"' | cut -d'"' -f4); do
        output=$scratch/$number-$effect.png
        chain=("$effect" ${settings[$effect]:-})
        case $effect in
            Custom) continue ;;
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
