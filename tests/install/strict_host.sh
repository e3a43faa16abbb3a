#!/bin/sh
# Compiles hosts of the interface with every warning an error, one of each header of the photo layer among them, links
# one and runs it.
# Usage: strict_host.sh COMPILER LIBRARY OPENCV_INCLUDE_DIR SOURCE_DIR [PHOTO_HEADER...]
set -eu
compiler=$1 library=$2 opencv=$3 source=$4
shift 4
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

strict() {
    "$compiler" -std=c++17 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -I "$source" -isystem "$opencv" "$@"
}
strict "$source/tests/install/consumer.cpp" "$library" -lopencv_core -Wl,-rpath,"$(dirname "$library")" -o "$scratch/host"
"$scratch/host"
for header; do echo "#include <photo/$(basename "$header")>"; done >"$scratch/photo.cpp"
echo 'int main() {}' >>"$scratch/photo.cpp"
strict -fsyntax-only "$scratch/photo.cpp"
