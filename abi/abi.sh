#!/bin/sh
# The binary interface of the libraries: functions, variables, and the types that hosts see. abi/ keeps that of the last
# release; builds with debug information are compared with it.
#   abi.sh check BUILD LIBRARY [SED_SCRIPT]   fails and names each change that breaks hosts which are there already;
#                                             SED_SCRIPT edits what is kept first, to test that
#   abi.sh accept BUILD LIBRARY               keeps the interface as it is now
set -eu
mode=$1 build=$2 library=$3 edit=${4:-}
kept=$(dirname "$0")/$library.abi.xz
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --component dev --prefix "$scratch/dev" >/dev/null
abidw --exported-interfaces-only --headers-dir "$scratch/dev/include" --drop-private-types --drop-undefined-syms \
      --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --no-architecture --no-parameter-names \
      --no-write-default-sizes --out-file "$scratch/now.abi" "$(find "$build" -name "$library.so")"
case $mode in
    check)
        xz -dc "$kept" | sed -e "$edit" >"$scratch/kept.abi"
        abidiff --no-added-syms "$scratch/kept.abi" "$scratch/now.abi" ;;
    accept)
        xz -9c "$scratch/now.abi" >"$kept" ;;
esac
