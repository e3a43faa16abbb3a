#!/bin/bash
# Starts a Slurm of one node as the current user, runs examples/batch/slurm.sh on it as an array, kills a task, requeues a
# failed and a running one, and compares the results with those of one process.
# Usage: slurm.sh KESTROVA_DEVELOP SCRIPT PHOTOS
set -u
export DEVELOP=$1
script=$2 PHOTOS=$3
. "$(dirname "$0")/common.sh"
PATH=$PATH:/usr/sbin
for program in munged slurmctld slurmd sbatch pgrep; do
    command -v $program >/dev/null || skip "$program is not installed (packages slurm-wlm, munge and procps)"
done
scratch=$(mktemp -d)
chmod 755 "$scratch"
cd "$scratch" || exit 1
daemons=
finish() {
    scancel --signal=KILL --user="$(id -un)" >/dev/null 2>&1
    for daemon in $daemons; do kill "$daemon" 2>/dev/null; done
    ended() { for daemon in $daemons; do ! kill -0 "$daemon" 2>/dev/null || return 1; done; }
    until_true 10 ended || kill -KILL $daemons 2>/dev/null
    rm -rf "$scratch"
}
trap finish EXIT
export SLURM_CONF=$scratch/slurm.conf OMP_WAIT_POLICY=passive
unset SLURM_ARRAY_TASK_ID SLURM_ARRAY_TASK_COUNT

# free_port FIRST: a port from there on that nothing listens on.
free_port() {
    port=$1
    while (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; do port=$((port + 1)); done
    echo "$port"
}
host=$(hostname -s)
user=$(id -un)
mkdir state spool
head -c 1024 /dev/urandom >munge.key
chmod 600 munge.key
cat >slurm.conf <<END
ClusterName=test
SlurmctldHost=$host(127.0.0.1)
SlurmUser=$user
SlurmdUser=$user
SlurmctldPort=$(free_port 26817)
SlurmdPort=$(free_port 26917)
AuthType=auth/munge
AuthInfo=socket=$scratch/munge.socket,cred_expire=5
StateSaveLocation=$scratch/state
SlurmdSpoolDir=$scratch/spool
SlurmctldPidFile=$scratch/slurmctld.pid
SlurmdPidFile=$scratch/slurmd.pid
SlurmctldLogFile=$scratch/slurmctld.log
SlurmdLogFile=$scratch/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SwitchType=switch/none
MpiDefault=none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SchedulerParameters=sched_interval=2,batch_sched_delay=1
ReturnToService=2
MinJobAge=300
KillWait=5
NodeName=$host NodeAddr=127.0.0.1 CPUs=2 State=UNKNOWN
PartitionName=all Nodes=$host Default=YES MaxTime=INFINITE State=UP
END

munged --foreground --force --socket="$scratch/munge.socket" --key-file="$scratch/munge.key" \
    --pid-file="$scratch/munged.pid" --log-file="$scratch/munged.log" --seed-file="$scratch/munged.seed" \
    --num-threads=2 >munged.out 2>&1 &
daemons=$!
until_true 10 test -S munge.socket || skip "munged does not start here: $(tail -n 3 munged.out munged.log 2>/dev/null)"
slurmctld -D -c >slurmctld.out 2>&1 &
daemons="$daemons $!"
slurmd -D -c >slurmd.out 2>&1 &
daemons="$daemons $!"
up() { sinfo -h -o %T 2>/dev/null | grep -qx idle; }
until_true 30 up || skip "Slurm does not start here: $(tail -n 5 slurmctld.log slurmd.log slurmd.out 2>/dev/null)"

make_photographs in expected
find "$scratch/in" -name '*.jpg' | sort >list
job=$(sbatch --parsable --array=1-4 "$script" "$scratch/list" "$scratch/in" "$scratch/out" $settings) ||
    fail "sbatch refuses"

state_of() { scontrol -o show job "${job}_$1" | grep -o 'JobState=[A-Z]*' | cut -d= -f2; }
is() { [ "$(state_of "$1")" = "$2" ]; }

# worker I: the process id of task I's program.
worker() {
    for process in $(pgrep -f "^$DEVELOP --list $scratch"); do
        tr '\0' '\n' <"/proc/$process/environ" 2>/dev/null | grep -qx "SLURM_ARRAY_TASK_ID=$1" && echo "$process"
    done
}
working() { [ -n "$(worker "$1")" ]; }

# Task 1 is killed and fails; task 2 is put back into the queue while it runs.
kill_task() {
    victim=$(worker "$1" | head -n 1)
    [ -n "$victim" ] && kill -KILL "$victim"
}
until_true 60 working 2 || fail "no task runs: $(tail -n 5 slurmctld.log slurmd.log develop-*.log)"
scontrol requeue "${job}_2" || fail "task 2 is not requeued"
until_true 60 kill_task 1 || fail "task 1 ended by itself"
until_true 60 is 1 FAILED || fail "task 1 is $(state_of 1), not FAILED"
scontrol requeue "${job}_1" || fail "task 1 is not requeued"

all_done() { for i in 1 2 3 4; do is $i COMPLETED || return 1; done; }
until_true 180 all_done ||
    fail "$(for i in 1 2 3 4; do echo "task $i is $(state_of $i)"; done; tail -n 5 develop-*.log slurmctld.log)"
for i in 1 2; do
    scontrol -o show job "${job}_$i" | grep -q 'Restarts=1' || fail "task $i was not started again"
done
expect_same expected out
echo "$(slurmd -V), one node, user $user: an array of 4, one task killed, two requeued, the same"
