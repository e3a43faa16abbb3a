#!/bin/sh
# Develops the bundled photograph, shows it before and after, paints a mask over it, and says where the pictures are;
# what is up to date is not made again. docs/before-after.jpg is what it makes under that name.
# Usage: demo.sh KESTROVA_DEVELOP KESTROVA_PAINT OUT_DIR
set -eu
developer=$1 painter=$2 out=$3
photo=$(dirname "$0")/photos/dandelion_5312x2988.jpg

mkdir -p "$out"
before=$out/before.jpg after=$out/after.jpg both=$out/before-after.jpg painted=$out/painted.jpg mask=$out/mask.png
[ "$before" -nt "$photo" ] || cp "$photo" "$before"

# current PICTURE PROGRAM: whether the picture is newer than what makes it
current() {
    [ "$1" -nt "$2" ] && [ "$1" -nt "$0" ]
}

# develop OUT [OPTION...]: the photograph as the demo shows it
develop() {
    result=$1
    shift
    current "$result" "$developer" || "$developer" "$photo" -o "$result" --overwrite "$@" --filter laplacian \
        --small 0.2 --medium 0.5 --large 0.8 --shadows 0.6 --highlights=-0.3 --contrast 0.4 --saturation 0.15 \
        >"$out/develop.log" 2>&1
}
develop "$after"
develop "$both" --crop 0.0847,0.0201,0.5384,0.8702 --compare --size 594 --quality 85
current "$painted" "$painter" || "$painter" "$photo" "$painted" --mask "$mask" >"$out/paint.log"

echo "before:  $before"
echo "after:   $after, beside it: $both"
echo "painted: $painted, under the mask $mask"
echo "look at: the threads of the head and the meadow behind; profile and metadata are the photograph's"
