#!/bin/sh
# Cuts the release of the version in CMakeLists.txt from the last commit into build/dist: a source archive, its SHA256 and
# what is new. With `check` it unpacks that archive outside of any repository, builds it and runs a part of the tests.
set -eu
cd "$(dirname "$0")/.."
version=$(sed -n 's/^project(kestrova VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
name=kestrova-$version
dist=$PWD/build/dist
fail() {
    echo "$*" >&2
    exit 1
}

cut() {
    [ -z "$(git status --porcelain)" ] || fail "there are changes that are not committed"
    head -1 packaging/changelog | grep -qF "kestrova ($version)" || fail "packaging/changelog does not begin with $version"
    mkdir -p "$dist"
    awk -v version="$version" '/^## / { wanted = $2 == version } wanted' CHANGELOG.md >"$dist/$name.changes"
    head -1 "$dist/$name.changes" | grep -q '([0-9-]*)$' || fail "CHANGELOG.md has no dated entry for $version"
    git archive --format=tar --prefix="$name/" -o "$dist/$name.tar" HEAD
    gzip -9nf "$dist/$name.tar"
    (cd "$dist" && sha256sum "$name.tar.gz" >"$name.tar.gz.sha256" && cat "$name.tar.gz.sha256")
}

check() {
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    (cd "$dist" && sha256sum --check --quiet "$name.tar.gz.sha256")
    tar -xzf "$dist/$name.tar.gz" -C "$scratch"
    cd "$scratch/$name"
    ! git rev-parse --git-dir >/dev/null 2>&1 || fail "$scratch is in a repository"
    cmake -G Ninja -S . -B build/release -DKESTROVA_EXAMPLES=OFF -DKESTROVA_BENCH=OFF -DKESTROVA_STUDIO=OFF
    cmake --build build/release --target kestrova kestrova_photo kestrova-develop kestrova_docs_tests
    build/release/tests/kestrova_docs_tests --gtest_brief=1
    ctest --test-dir build/release --output-on-failure -R '^(room_order|readme_host|exported_symbols|strict_host|installed_tree)'
}

"${1:-cut}"
