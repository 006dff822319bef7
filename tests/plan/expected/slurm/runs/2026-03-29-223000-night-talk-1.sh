#!/bin/sh
# Made by receiver-plan from plan.toml; changes belong into the plan.
# A run of night-talk; submit.sh submits it.
#SBATCH --job-name=2026-03-29-223000-night-talk-1
#SBATCH --begin=2026-03-29T22:30:00
#SBATCH --time=90
#SBATCH --requeue
#SBATCH --open-mode=append
#SBATCH --nodes=1
#SBATCH --ntasks=1
#SBATCH --cpus-per-task=1
#SBATCH --mem=512M
# It may have waited for a node, or begun anew on another one.
if [ "$(date +%s)" -ge 1774819800 ]; then echo 'too late for this run' >&2; exit 1; fi
anew=${SLURM_RESTART_COUNT:-0}
if [ "$anew" -gt 0 ]; then echo 'begun anew: what was recorded before is left as .part' >&2; fi
mkdir -p /srv/recordings/night-talk; receiver-record http://radio.example/live.mp3 --now --max 1h --output '/srv/recordings/night-talk/%F %H%M.opus'; code=$?; case $code in 0|7) ;; *) exit $code ;; esac
if [ "$anew" -gt 0 ]; then echo 'the beginning is lacking' >&2; exit 7; fi
