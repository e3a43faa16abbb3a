#!/bin/sh
# Develops the bundled photograph, paints a mask over it, and says where the pictures are; what is up to date is not
# made again.
# Usage: demo.sh BIN_DIR OUT_DIR
set -eu
bin=$1 out=$2
photo=$(dirname "$0")/photos/dandelion_5312x2988.jpg

mkdir -p "$out"
before=$out/before.jpg after=$out/after.jpg painted=$out/painted.jpg mask=$out/mask.png
[ "$before" -nt "$photo" ] || cp "$photo" "$before"

# current PICTURE PROGRAM: whether the picture is newer than what makes it
current() {
    [ "$1" -nt "$2" ] && [ "$1" -nt "$0" ]
}

current "$after" "$bin/kestrova-develop" ||
    "$bin/kestrova-develop" "$photo" "$after" \
        --small 0.15 --medium 0.35 --large 0.15 --large-shadows 0.3 \
        --light shadows=0.6,highlights=-0.4,contrast=0.3 --saturation 0.1 >"$out/develop.log"
current "$painted" "$bin/kestrova-paint" ||
    "$bin/kestrova-paint" "$photo" "$painted" --mask "$mask" >"$out/paint.log"

echo "before:  $before"
echo "after:   $after"
echo "painted: $painted, under the mask $mask"
