#!/bin/sh
# Made by receiver-plan from plan.toml; changes belong into the plan.
# sh FOLDER/submit.sh PLAN, once: submits the runs of 2026-03-29, and a job that goes on from there.
set -eu
plan=$(realpath -- "$1")
cd "$(dirname "$0")"
# What is there already is not submitted twice.
submit() { [ -n "$(squeue --noheader --name="$1")" ] || sbatch "runs/$1.sh"; }
submit 2026-03-29-223000-night-talk-1
sbatch next-day.sh "$plan"
