#!/bin/sh
# Develops the bundled photograph and says where the pictures are; does nothing again that is up to date.
# Usage: demo.sh BIN_DIR OUT_DIR
set -eu
bin=$1 out=$2
photo=$(dirname "$0")/photos/dandelion_5312x2988.jpg

mkdir -p "$out"
before=$out/before.jpg after=$out/after.jpg
[ "$before" -nt "$photo" ] || cp "$photo" "$before"

program=$bin/kestrova-develop
if [ "$after" -nt "$program" ] && [ "$after" -nt "$0" ]; then
    echo "The picture is developed already."
else
    "$program" "$photo" "$after" \
        --small 0.15 --medium 0.35 --large 0.15 --large-shadows 0.3 \
        --light shadows=0.6,highlights=-0.4,contrast=0.3 --saturation 0.1 >"$out/develop.log"
fi
echo "before: $before"
echo "after:  $after"
