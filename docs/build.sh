#!/usr/bin/env bash
# Writes the documentation's site to build/docs/html: makes its pictures, the manual page and the reference, and checks
# every link. Usage: build.sh DIRECTORY_OF_PROGRAMS
set -euo pipefail
programs=$(realpath "$1")
cd "$(dirname "$0")/.."
made=build/docs/pictures
photograph=examples/photos/dandelion_768x512.png
rm -rf build/docs
mkdir -p "$made"

"$programs/kestrova-pictures" "$photograph" "$made"
"$programs/first_view" "$photograph" "$made/guide_whole.png" "$made/guide_middle.png"
docs/python_reference.py "$made/python_reference.html"
mandoc -T html -O fragment apps/develop/kestrova-develop.1 >"$made/kestrova-develop.html"

KESTROVA_VERSION=$(sed -n 's/^project(kestrova VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
# A header is installed that exports something; vendor_types.h has the records that such headers name.
KESTROVA_HEADERS="$(grep -rlE --include='*.h' 'KESTROVA_(PHOTO_)?EXPORT ' kestrova photo | grep -v '/export.h$' | sort | tr '\n' ' ')"
KESTROVA_HEADERS+=kestrova/frame/vendor_types.h
export KESTROVA_VERSION KESTROVA_HEADERS
doxygen docs/Doxyfile
cat docs/site/search.css >>build/docs/html/search/search.css

docs/check_links.py build/docs/html
echo 'the documentation: build/docs/html/index.html'
