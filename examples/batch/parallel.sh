#!/bin/sh
# Develops the photographs below a folder with GNU parallel. The list is cut into parts, each part is a job.
#
#     parallel.sh IN OUT [OPTION of kestrova-develop]...
#
# Run again, the same command goes on after whatever has stopped it: OUT.joblog tells parallel which parts are left or
# have failed, the key in each result tells kestrova-develop which photographs are left. OUT.list is what is to be done;
# without it and OUT.joblog everything is looked up afresh.
#
# JOBS=n are done at a time (as many as processors), of PARTS=n in all (4 a job); more parts lose less when one stops.
# With SSHLOGIN=host,host,: parallel runs them on these machines, which need the program and the folders under the same
# names; ":" is this one.
set -eu
in=$1 out=$2
shift 2
jobs=${JOBS:-$(nproc)}
parts=${PARTS:-$((4 * jobs))}
list=$(realpath -m "$out.list") joblog=$out.joblog

if [ ! -e "$list" ]; then
    find "$(realpath "$in")" -type f -regextype posix-extended \
        -iregex '.*\.(jpe?g|png|tiff?|webp|hei[cf]|avif|jp2|exr|dng|nef|cr[23]|arw|orf|raf|rw2|pef)' |
        LC_ALL=C sort >"$list.new"
    mv "$list.new" "$list"
fi
[ -e "$joblog" ] && resume=--resume-failed || resume=
seq "$parts" | parallel --quote --jobs "$jobs" ${SSHLOGIN:+--sshlogin "$SSHLOGIN"} --joblog "$joblog" $resume \
    "${DEVELOP:-kestrova-develop}" --list "$list" --shard "{}/$parts" --base "$(realpath "$in")" \
    -d "$(realpath -m "$out")" --skip-existing --threads 1 --quiet "$@"
