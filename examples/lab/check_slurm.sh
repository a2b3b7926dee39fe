#!/bin/sh
#SBATCH --job-name=tyksim-check
#SBATCH --output=/dev/null
# Checks many trees by a Slurm job array and writes their findings as JSON lines.
#
#   sbatch --array=0-19 check_slurm.sh FOLDER RESULTS
#
# Job N of M checks the trees N, N + M, N + 2M ... of FOLDER. RESULTS/N.jsonl appears when the job has
# finished, so it is always complete. To run a lost job again, tell it the number of jobs, which a smaller
# array does not have:
#
#   PARTS=20 sbatch --array=N check_slurm.sh FOLDER RESULTS
#
# `cat RESULTS/*.jsonl` prints all findings.
set -eu
folder=$1
results=$2
mkdir -p "$results"
part=$results/$SLURM_ARRAY_TASK_ID.jsonl

find "$folder" -mindepth 1 -maxdepth 1 -type d | LC_ALL=C sort |
    awk -v first="$SLURM_ARRAY_TASK_ID" -v count="${PARTS:-$SLURM_ARRAY_TASK_COUNT}" \
        '(NR - 1) % count == first' |
    while IFS= read -r tree; do
        # Status 3: the check is complete and has findings.
        tyksim check --json "$tree" || [ $? = 3 ]
    done >"$part.unfinished"
mv "$part.unfinished" "$part"
