#!/bin/sh
#SBATCH --job-name=dcfsim
#SBATCH --array=0-19
#SBATCH --ntasks=1
#SBATCH --cpus-per-task=1
#SBATCH --mem=1G
#SBATCH --time=00:10:00
#SBATCH --output=dcfsim-%A-%a.log
#
# A campaign as a Slurm array: one task, one replication. Hand in from a directory that all machines
# see; tasks that were finished before end at once, so the same command also fills the gaps.
#
#     export CAMPAIGN="$PWD/campaign" FIRST_SEED=1000
#     sbatch slurm-array.sh
#
# More than twenty tasks draw from the other generator: export OPTIONS="--generator mt19937-64".
set -eu
: "${CAMPAIGN:?}" "${FIRST_SEED:?}"
# shellcheck disable=SC2086 # OPTIONS is a list of words
seeds=$(dcfsim-replicate ${OPTIONS:-} --list-seeds --first-seed "$FIRST_SEED" \
    --replications $((SLURM_ARRAY_TASK_ID + 1)))
seed=$(echo "$seeds" | tail -n 1)
# shellcheck disable=SC2086
exec dcfsim-replicate ${OPTIONS:-} --first-seed "$FIRST_SEED" --one "$seed" "$CAMPAIGN"
