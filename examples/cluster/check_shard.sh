#!/bin/bash
# check_shard.sh LIST OUT: one task of an array job, which judges one WARC shard.
#
#   sbatch --array=0-99 check_shard.sh shards.txt verdicts/
#
# LIST names a shard a line; task N takes line N + 1. OUT/NAME.jsonl receives one JSON object for each page. It is
# written beside its place and moved there at the end, so that a task that was stopped leaves none and can be run
# again. Pages that cannot be read are named on standard error; then the task fails, and keeps what it has in
# OUT/NAME.jsonl.part.
#SBATCH --job-name=sifterra-check
#SBATCH --cpus-per-task=4
#SBATCH --mem=2G
set -euo pipefail
[ $# -eq 2 ] || { echo "usage: check_shard.sh LIST OUT" >&2; exit 2; }
: "${SLURM_ARRAY_TASK_ID:?is not set: start this as an array job}"

shard=$(sed -n "$((SLURM_ARRAY_TASK_ID + 1))p" "$1")
[ -n "$shard" ] || { echo "check_shard.sh: $1 has no line $((SLURM_ARRAY_TASK_ID + 1))" >&2; exit 2; }
name=$(basename "$shard")
result=$2/${name%%.warc*}.jsonl
mkdir -p "$2"

status=0
"${SIFTERRA:-sifterra}" check --json -j "${SLURM_CPUS_PER_TASK:-1}" warc:- <"$shard" >"$result.part" || status=$?
# 1 says that some page is restricted, which is what the job is there to find out.
[ "$status" -le 1 ] || exit "$status"
mv "$result.part" "$result"
