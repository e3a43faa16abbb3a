#!/bin/bash
# Runs examples/batch/parallel.sh as its users do, kills workers and the whole, runs it again, and compares the results
# with those of one process.
# Usage: parallel.sh KESTROVA_DEVELOP SCRIPT PHOTOS
set -u
export DEVELOP=$1
script=$2 PHOTOS=$3
. "$(dirname "$0")/common.sh"
parallel --version 2>/dev/null | grep -q 'GNU parallel' || skip "GNU parallel is not installed"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1
export HOME=$scratch PARALLEL_HOME=$scratch/.parallel JOBS=2 PARTS=5 OMP_WAIT_POLICY=passive
mkdir -p "$PARALLEL_HOME" && touch "$PARALLEL_HOME/will-cite"

make_photographs in expected

# The process ids of this test's workers, whose arguments name its folder.
workers() { pgrep -f "^$DEVELOP --list $scratch"; }
kill_worker() {
    victim=$(workers | head -n 1)
    [ -n "$victim" ] && kill -KILL "$victim"
}
no_worker() { [ -z "$(workers)" ]; }

# A worker is killed: its part fails, the others are done. The same command does what is left.
"$script" in out $settings >log 2>&1 &
run=$!
until_true 60 some_done out 1 && until_true 10 kill_worker || fail "no worker was killed: $(cat log)"
wait $run && fail "a killed worker went unnoticed"
[ "$(awk 'NR > 1 && ($7 != 0 || $8 != 0)' out.joblog | wc -l)" = 1 ] || fail "not one failure: $(cat out.joblog)"
"$script" in out $settings >log 2>&1 || fail "the second run: $(cat log)"
expect_same expected out
[ "$(wc -l <out.joblog)" = 7 ] || fail "not one part was done again: $(cat out.joblog)"

# Parallel itself is killed, with its workers.
"$script" in again $settings >log 2>&1 &
run=$!
until_true 60 some_done again 1 || fail "nothing is done: $(cat log)"
kill -KILL $(ps -o pid= --ppid $run) $run $(workers)
wait $run 2>/dev/null
until_true 60 no_worker || fail "workers go on for ever"
some_done again 10 && fail "it was done before it was killed"
"$script" in again $settings >log 2>&1 || fail "the run after the kill: $(cat log)"
expect_same expected again

# Nothing is left to do, and nothing is touched.
touch mark
"$script" in again $settings >log 2>&1 || fail "the idle run: $(cat log)"
[ -z "$(find again -newer mark -type f)" ] || fail "results were made again"
echo "GNU parallel $(parallel --version | head -n 1 | grep -o '[0-9]*$'): killed, resumed, the same"
