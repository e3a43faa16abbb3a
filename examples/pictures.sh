#!/bin/sh
# Makes the pictures of the photo layer in README.md and the documentation from the bundled photograph.
# Usage: pictures.sh KESTROVA_DEVELOP OUT_DIR
set -eu
develop=$1 out=$2
here=$(dirname "$0")
photo=$here/photos/dandelion_5312x2988.jpg

# At 100 %: on the right fine detail is boosted, grain and speckles of colour are gone.
"$develop" "$photo" -o "$out/noise.jpg" --overwrite --quiet --compare --quality 90 --metadata none --profile srgb \
    --crop 0.405,0.36,0.0715,0.1272 --small 0.5 --noise-luminance 1 --noise-colour 1
"$develop" "$photo" -o "$out/layer.jpg" --overwrite --quiet --compare --quality 85 --metadata none --profile srgb \
    --settings "$here/meadow.json" --size 500
