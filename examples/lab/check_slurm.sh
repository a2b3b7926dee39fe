#!/bin/sh
#SBATCH --job-name=tyksim-check
#SBATCH --output=/dev/null
# Findings of many trees as a Slurm job array, as JSON lines.
#
#   sbatch --array=0-19 check_slurm.sh FOLDER RESULTS
#
# Element N of M looks at the trees N, N + M, N + 2M ... of FOLDER and writes RESULTS/N.jsonl when it has
# finished: a part that is there is whole, and an element that was lost is run again by
# `sbatch --array=N`. `cat RESULTS/*.jsonl` is the whole.
set -eu
folder=$1
results=$2
mkdir -p "$results"
part=$results/$SLURM_ARRAY_TASK_ID.jsonl

find "$folder" -mindepth 1 -maxdepth 1 -type d | LC_ALL=C sort |
    awk -v first="$SLURM_ARRAY_TASK_ID" -v count="${PARTS:-$SLURM_ARRAY_TASK_COUNT}" \
        '(NR - 1) % count == first' |
    while IFS= read -r tree; do
        # A check that finds something ends with 3.
        tyksim check --json "$tree" || [ $? = 3 ]
    done >"$part.unfinished"
mv "$part.unfinished" "$part"
