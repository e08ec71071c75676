#!/usr/bin/env bash
# Draws strokes on the sample photographs that mark subject (255) and background (128) for Segmentation.
#   scripts/draw-seeds.sh [FOLDER]     default: samples/seeds
set -euo pipefail
cd "$(dirname "$0")/.."
folder=${1:-samples/seeds}
mkdir -p "$folder"

# strokes NAME SUBJECT BACKGROUND: polylines as "x,y x,y ...", separated by ";"
strokes() {
    local name=$1 part drawing=()
    local size
    size=$(identify -format '%wx%h' "samples/$name.png")
    local color=white lines from to
    for lines in "$2" "$3"; do
        drawing+=(-stroke "$color")
        while IFS= read -r -d ';' part; do
            from=
            for to in $part; do  # an open line; the drawing program closes polylines
                [ -z "$from" ] || drawing+=(-draw "line $from $to")
                from=$to
            done
        done <<< "$lines;"
        color='gray(128)'
    done
    convert -size "$size" xc:black +antialias -fill none -strokewidth 7 "${drawing[@]}" -colorspace Gray -depth 8 \
        -define png:color-type=0 -define png:exclude-chunks=all "$folder/$name.png"
}

strokes astronaut \
    "175,95 180,65 225,35 275,60 290,90;225,60 228,170 225,215;125,190 150,250 200,280 260,292 300,250 295,215;130,290 70,390 60,440 120,490;200,310 190,500;320,290 335,335;270,330 265,480;310,420 360,380 430,365 490,420;330,470 400,490 480,470" \
    "30,20 50,120 15,180 12,330 8,500;120,15 115,140 100,180 60,225;330,20 335,150 350,240;430,20 435,120 400,180 440,220 410,270;400,300 505,310 508,390"
strokes chelsea \
    "56,14 100,40 239,35 300,50;65,140 150,190 266,253 309,236;30,262 135,285 200,290;318,140 320,200;342,85 354,112 349,160 330,225;265,287 288,272;239,35 245,150;365,22 372,50" \
    "8,45 12,90;432,20 414,96 397,166 400,230 405,285;360,275 350,290"
strokes coffee \
    "92,200 94,221 152,314 200,345 292,366 380,352 431,326 466,221 462,200 445,180;181,93 210,50 280,29 370,50 397,81 380,150;286,140 292,198 280,233;230,240 225,285;368,291 400,240" \
    "24,23 60,20;141,40 60,110 24,244 71,361 140,388;440,30 501,70 548,244 501,361 420,390"
