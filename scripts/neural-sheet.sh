#!/usr/bin/env bash
# Degrades parts of the sample photographs and shows them before and after each neural effect, pixel for pixel.
#   scripts/neural-sheet.sh [KALVATRI] [SHEET]     defaults: build/release/bin/kalvatri, demo/neural-sheet.png
set -euo pipefail
cd "$(dirname "$0")/.."
kalvatri=${1:-build/release/bin/kalvatri}
sheet=${2:-demo/neural-sheet.png}
mkdir -p "$(dirname "$sheet")"
font=/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

number=100
side=256
# A pair of tiles: on the left the input, enlarged by a filter if the effect enlarges, on the right the chain's result.
pair() { # TITLE BEFORE CHAIN...
    local title=$1 before=$2
    shift 2
    "$kalvatri" apply -q -i "$before" -o "$scratch/after.png" "$@"
    read -r width height < <(identify -format '%w %h\n' "$scratch/after.png")
    convert "$before" -filter Catrom -resize "${width}x$height!" "$scratch/shown.png"
    for name in shown after; do
        convert "$scratch/$name.png" -gravity center -background '#333' -extent "${side}x$side" "$scratch/part-$name.png"
    done
    convert "$scratch/part-shown.png" "$scratch/part-after.png" +append +repage -background white -gravity south -splice 0x22 \
        -font "$font" -pointsize 14 -annotate +0+3 "$title" "$scratch/pair-$number.png"
    number=$((number + 1))
}
cut() { # PHOTO GEOMETRY CONVERT-ARGUMENTS...: prints the name of the damaged part
    local file=$scratch/before-$number.png
    convert "samples/$1" -crop "$2" +repage -seed 7 "${@:3}" "$file"
    echo "$file"
}

pair DeepDenoiser "$(cut coffee.png 256x256+180+60 -attenuate 1.2 +noise gaussian)" DeepDenoiser
pair DeepDenoiser "$(cut chelsea.png 256x256+110+20 -attenuate 0.5 +noise gaussian)" DeepDenoiser
convert samples/astronaut.png -crop 256x256+130+20 +repage -quality 20 "$scratch/blocks.jpg"
pair DeepRestorer "$scratch/blocks.jpg" DeepRestorer
pair "DeepRestorerEx, lower half" "$scratch/blocks.jpg" DeepRestorerEx cropInfo=0,256,128,256
pair DeepSuperResolutor "$(cut coffee.png 258x258+150+100 -filter box -resize 86x86)" DeepSuperResolutor
pair DeepSuperResolutor "$(cut chelsea.png 258x258+110+20 -filter box -resize 86x86)" DeepSuperResolutor
pair DeepLumaUpscaler "$(cut astronaut.png 256x256+130+20 -blur 0x1)" DeepLumaUpscaler
pair "DeepEnhancer, dark" "$(cut coffee.png 600x400+0+0 -resize 256x -evaluate multiply 0.25)" DeepEnhancer
pair "DeepEnhancer, flat" "$(cut chelsea.png 451x300+0+0 -resize 256x +level 30%,75%)" DeepEnhancer
pair DeepImageEnhancer "$(cut coffee.png 600x400+0+0 -resize 256x +level 15%,80% -channel B -evaluate multiply 0.8 +channel)" DeepImageEnhancer
pair DeepAutoRetoucher "$(cut astronaut.png 256x256+100+0 -write "$scratch/unused.png")" DeepAutoRetoucher
pair DeepAligner "$(cut rocket.jpg 640x427+0+0 -distort SRT -4 -crop 70%x70%+96+64 +repage -resize 256x)" DeepAligner
dim=$(cut coffee.png 600x400+0+0 -resize 256x -evaluate multiply 0.65 -modulate 100,60)
"$kalvatri" suggest -q "$dim" -o "$scratch/recipe.json"
pair "DeepAdjuster, by suggest" "$dim" --settings "$scratch/recipe.json"

montage -font "$font" "$scratch"/pair-*.png -tile 3x -geometry +4+4 "$sheet"
echo "$sheet"
