#!/usr/bin/env bash
# Benchmark of the simulator: simulated events (timed firings) per second.
#
#   bench/sim.sh [-r replications] [-j jobs] [-b build]
#
# Builds a Release tree (default build-release/) with gen-kanban-sim and
# gen-timer-sim, then simulates the kanban model (N = 1, its instant-of-time
# rewards at t = 10) and the timer model (deterministic and instantaneous
# activities, experiment 4) with 1 and 2 worker processes, and prints one row
# per run: wall seconds, events and events per second. The seed is fixed, so
# the events are the same for 1 and 2 workers. Figures are printed, never judged.
set -euo pipefail
# shellcheck source=bench/common.sh
source "$(dirname "$0")/common.sh"

reps=50000
jobs=2
build=$root/build-release
while getopts "r:j:b:h" opt; do
    case $opt in
    r) reps=$OPTARG ;;
    j) jobs=$OPTARG ;;
    b) build=$OPTARG ;;
    *) usage 11 ;;
    esac
done
if ! [[ $reps =~ ^[0-9]+$ ]] || [ "$reps" -lt 2 ]; then
    refuse "bench/sim.sh: the replications must be a whole number of at least 2, not '$reps'"
fi
build_release "$build" "$jobs" -- gen-kanban-sim gen-timer-sim

printf '%-8s %-4s %8s %12s %14s\n' model jobs seconds events events/s
for model in kanban timer; do
    experiment=0
    [ "$model" = timer ] && experiment=4
    for workers in 1 2; do
        start=$(date +%s.%N)
        out=$("$build/gen-$model-sim" -B"$experiment" --seed 1 --replications "$reps" \
            --batches 10 --threads "$workers")
        end=$(date +%s.%N)
        events=$(sed -n '1s/.* \([0-9]*\) events simulated.*/\1/p' <<<"$out")
        awk -v m="$model" -v w="$workers" -v s="$start" -v e="$end" -v n="$events" \
            'BEGIN { t = e - s; printf "%-8s %-4s %8.3f %12d %14.0f\n", m, w, t, n, n / t }'
    done
done
