#!/bin/sh
# Made by receiver-plan from plan.toml; changes belong into the plan.
# Renders and submits the day that comes; submit.sh submits it.
#SBATCH --job-name=receiver-plan-2026-03-30
#SBATCH --begin=2026-03-29T22:00:00
#SBATCH --time=30
#SBATCH --requeue
#SBATCH --open-mode=append
#SBATCH --nodes=1
#SBATCH --ntasks=1
cd "$SLURM_SUBMIT_DIR" || exit
if ! receiver-plan render "$1" --for slurm --zone Europe/Berlin --from 2026-03-30 -o . --force; then
  sbatch --begin=now+1hour next-day.sh "$1"
  exit 1
fi
sh submit.sh "$1"
