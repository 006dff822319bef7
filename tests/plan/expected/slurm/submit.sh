#!/bin/sh
# Made by receiver-plan from plan.toml; changes belong into the plan.
# sh FOLDER/submit.sh PLAN, once: submits the runs of 2026-03-29, and a job that goes on from there.
set -eu
plan=$(realpath -- "$1")
cd "$(dirname "$0")"
# What this folder has submitted already is not submitted twice.
submit() {
  name=$1
  shift
  folders=$(squeue --noheader --name="$name" --format=%Z)
  printf '%s\n' "$folders" | grep -qxF -- "$(pwd -P)" || sbatch "$@"
}
# Once those of the jobs that are still there are over, however they end.
submit_after() {
  jobs=$(squeue --noheader --name="$1" --format='%A %Z')
  after=$(printf '%s\n' "$jobs" | while read -r job folder; do
    [ "$folder" != "$(pwd -P)" ] || printf ':%s' "$job"
  done)
  submit "$2" ${after:+"--dependency=afterany$after"} "runs/$2.sh"
}
submit 2026-03-29-223000-night-talk-1 runs/2026-03-29-223000-night-talk-1.sh
submit receiver-plan-2026-03-30 next-day.sh "$plan"
