#!/bin/sh
# Installs the built tree into a scratch prefix, moves it, and builds and runs the consumer, the tour of the examples and
# the program of the documentation's guide against it through CMake's find_package, and the consumers through pkg-config.
# Usage: run.sh CMAKE BUILD_DIR SOURCE_DIR CXX
set -eu
cmake=$1 build=$2 source=$3 cxx=$4
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/moved

"$cmake" --install "$build" --prefix "$scratch/first" >/dev/null
mv "$scratch/first" "$prefix"
if find "$prefix" -name '*.h' -exec grep -l 'ippi\|primitives/' {} + ; then
    echo "internal headers are installed" >&2
    exit 1
fi

"$cmake" -S "$source" -B "$scratch/build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
"$cmake" --build "$scratch/build" >/dev/null
"$scratch/build/consumer"
"$scratch/build/tour"

"$cmake" -S "$source/../../docs/guide" -B "$scratch/guide" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" \
    >/dev/null
"$cmake" --build "$scratch/guide" >/dev/null
"$scratch/guide/first_view" "$source/../../examples/photos/dandelion_768x512.png" "$scratch/whole.png" "$scratch/middle.png"
[ -s "$scratch/whole.png" ] && [ -s "$scratch/middle.png" ]

if [ -x "$scratch/build/photo_consumer" ]; then
    "$scratch/build/photo_consumer" "$scratch/photo.png"
fi
if [ -x "$prefix/bin/kestrova-develop" ]; then
    "$prefix/bin/kestrova-develop" "$scratch/photo.png" -o "$scratch/photo.jpg" --quiet
fi

pc=$(find "$prefix" -name kestrova.pc)
libdir=$(dirname "$(dirname "$pc")")
PKG_CONFIG_PATH=$(dirname "$pc") sh -c "'$cxx' -std=c++17 '$source/consumer.cpp' \
    \$(pkg-config --cflags --libs kestrova) -o '$scratch/consumer'"
LD_LIBRARY_PATH=$libdir "$scratch/consumer"
if [ -f "$libdir/pkgconfig/kestrova_photo.pc" ]; then
    PKG_CONFIG_PATH=$(dirname "$pc") sh -c "'$cxx' -std=c++17 '$source/photo_consumer.cpp' \
        \$(pkg-config --cflags --libs kestrova_photo) -Wl,-rpath-link,'$libdir' -o '$scratch/photo_consumer'"
    LD_LIBRARY_PATH=$libdir "$scratch/photo_consumer" "$scratch/photo.png"
fi
