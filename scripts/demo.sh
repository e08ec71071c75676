#!/usr/bin/env bash
# Installs what is missing, builds the release and runs effects on a photo.
#   scripts/demo.sh [PHOTO]
# The pictures and a page that shows them before and after are in demo/.
set -euo pipefail
photo=$(realpath "${1:-$(dirname "$0")/../samples/coffee.png}")
cd "$(dirname "$0")/.."

scripts/install-packages.sh
echo "== Building the release"
cmake --preset release -DORVEXA_TESTS=OFF -DORVEXA_BENCH=OFF -B build/demo -DCMAKE_CXX_COMPILER_LAUNCHER=ccache > /tmp/orvexa-configure-demo.log || {
    cat /tmp/orvexa-configure-demo.log
    exit 1
}
cmake --build build/demo
kalvatri=build/demo/bin/kalvatri

mkdir -p demo
"$kalvatri" apply -q -i "$photo" -o demo/before.jpg EmptyEffect
{
    echo '<!doctype html><meta charset="utf-8"><title>kalvatri: before and after</title>'
    echo '<style>body{font:16px sans-serif;margin:2em;background:#222;color:#eee}figure{margin:0 0 2em}img{max-width:48%;vertical-align:top}code{color:#fc9}</style>'
    echo '<h1>Before and after</h1>'
} > demo/index.html

show() {  # PHOTO BEFORE NAME STEP...
    local photo=$1 before=$2 name=$3 step=${*:4}
    echo "== kalvatri apply -i $photo -o demo/$name.jpg $step"
    "$kalvatri" apply -i "$photo" -o "demo/$name.jpg" "${@:4}"
    echo "<figure><img src=\"$before\" alt=\"before\"> <img src=\"$name.jpg\" alt=\"after\"><figcaption><code>$step</code></figcaption></figure>" >> demo/index.html
}

# One example per line: the file's name, then the arguments for kalvatri.
while read -r name step; do
    [ -n "$name" ] || continue
    # shellcheck disable=SC2086  # the step is several words on purpose
    show "$photo" before.jpg "$name" $step
done <<'EXAMPLES'
white-balance WhiteBalance color=#c8b496
bokeh BlurBokeh
bokeh-hearts BlurBokeh size=0.09 imageGain=4 aperture.shape=heart
cool-bokeh WhiteBalance color=#c8b496 BlurBokeh aperture.shape=polygon aperture.blades=6
miniature TiltShift
sketch Sketch
paint OilPaint Vignette
EXAMPLES

# If the photo has no face, the face effects use a sample.
portrait=$photo
[[ $("$kalvatri" faces "$photo") != *": no faces" ]] || portrait=samples/astronaut.png
"$kalvatri" apply -q -i "$portrait" -o demo/before-face.jpg EmptyEffect
show "$portrait" before-face.jpg face FaceThinning strength=0.6 EyeExtending strength=0.4
echo "Open demo/index.html to compare."
