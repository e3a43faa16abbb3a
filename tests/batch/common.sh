# What the tests of examples/batch share; sourced with DEVELOP and PHOTOS set.

skip() {
    echo "skipped: $1"
    exit 77
}

fail() {
    echo "failed: $1" >&2
    exit 1
}

# until_true SECONDS COMMAND...: repeats the command until it succeeds.
until_true() {
    left=$(($1 * 10))
    shift
    until "$@"; do
        left=$((left - 1))
        [ $left -gt 0 ] || return 1
        sleep 0.1
    done
}

settings="--medium 0.4 --shadows 0.3 --vibrance 0.2"

# Ten photographs in two folders, some with one name in both, and what one process makes of them.
make_photographs() {
    for i in 1 2 3 4 5; do
        for folder in one "two deep"; do
            mkdir -p "$1/$folder"
            "$DEVELOP" "$PHOTOS/dandelion_5312x2988.jpg" -o "$1/$folder/photo $i.jpg" --quality 90 --quiet \
                --crop "0.$i,$([ "$folder" = one ] && echo 0.1 || echo 0.3),0.4,0.5" || fail "no photographs"
        done
    done
    "$DEVELOP" "$1" -d "$2" --quiet $settings || fail "no reference"
}

some_done() {
    [ "$(find "$1" -name '*.jpg' 2>/dev/null | wc -l)" -ge "$2" ]
}

# Everything is there once, whole, the same as by one process, with nothing besides.
expect_same() {
    diff -r "$1" "$2" || fail "the results differ from those of one process"
    [ "$(find "$2" -type f | wc -l)" = 10 ] || fail "not ten photographs"
}
