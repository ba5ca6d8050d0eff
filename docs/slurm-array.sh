#!/bin/sh
#SBATCH --job-name=dcfsim
#SBATCH --array=0-99
#SBATCH --ntasks=1
#SBATCH --cpus-per-task=1
#SBATCH --mem=1G
#SBATCH --time=00:10:00
#SBATCH --output=dcfsim-%A-%a.log
#
# A campaign as a Slurm array: one task, one replication. Hand in from a directory that all machines
# see; tasks that were finished before end at once, so the same command also fills the gaps.
#
#     sbatch --export=ALL,CAMPAIGN=$PWD/campaign,FIRST_SEED=1000 slurm-array.sh
set -eu
seed=$((${FIRST_SEED:?} + SLURM_ARRAY_TASK_ID))
# shellcheck disable=SC2086 # OPTIONS is a list of words
exec dcfsim-replicate ${OPTIONS:-} --one "$seed" "${CAMPAIGN:?}"
