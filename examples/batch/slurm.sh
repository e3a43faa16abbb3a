#!/bin/sh
#SBATCH --job-name=develop
#SBATCH --output=develop-%A_%a.log
#SBATCH --open-mode=append
#SBATCH --cpus-per-task=1
#SBATCH --requeue
#SBATCH --signal=TERM@60
# Develops photographs with Slurm: each task of an array does its part of a list of names, one a line.
#
#     find "$PWD/in" -name '*.NEF' | sort >list
#     sbatch --array=1-16 slurm.sh list "$PWD/in" "$PWD/out" [OPTION of kestrova-develop]...
#
# A task that is stopped, by a kill, a crash of its machine, its time limit or a preemption, goes on when it is queued
# again: the key in each result tells which photographs are left. A minute before the time limit the program is asked to
# stop; what is left is then queued again here. After other ends, `scontrol requeue JOB_TASK` does it.
set -u
list=$1 base=$2 out=$3
shift 3
srun "${DEVELOP:-kestrova-develop}" --list "$list" --base "$base" -d "$out" --skip-existing \
    --threads "${SLURM_CPUS_PER_TASK:-1}" --quiet "$@"
code=$?
if [ $code = 75 ]; then  # stopped from outside with work left
    scontrol requeue "${SLURM_ARRAY_JOB_ID}_$SLURM_ARRAY_TASK_ID"
fi
exit $code
