#!/bin/sh
# Runs each fuzz target, or those named, for so many seconds; what a target finds is left in the folder of its build.
# usage: run.sh <build folder> <seconds> [target ...]
set -eu
build=$1
seconds=$2
shift 2
here=$(cd "$(dirname "$0")" && pwd)
[ $# -gt 0 ] || set -- $(cd "$here" && ls ./*_fuzz.cpp | sed 's|^\./||; s|_fuzz\.cpp$||')
# The timeout is by the wall clock: on a busy machine a run gets a small part of it.
export ASAN_OPTIONS=allocator_may_return_null=1:detect_stack_use_after_return=0
failed=
for target; do
    mkdir -p "$build/found/$target" "$build/corpus/$target"
    "$build/${target}_fuzz" "$build/corpus/$target" "$here/corpus/$target" "$here/findings/$target" \
        -max_total_time="$seconds" -max_len=512 -timeout=100 -rss_limit_mb=4096 -print_final_stats=1 -verbosity=1 \
        -artifact_prefix="$build/found/$target/" >"$build/found/$target.log" 2>&1 || failed="$failed $target"
    echo "$target: $(grep -c . "$build/found/$target.log") lines, $(sed -n 's/^stat::number_of_executed_units: *//p' "$build/found/$target.log") runs"
done
[ -z "$failed" ] || { echo "findings:$failed (see $build/found)"; exit 1; }
