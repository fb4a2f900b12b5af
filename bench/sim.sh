#!/usr/bin/env bash
# Benchmark of the simulator: simulated events (timed firings) per second.
#
#   bench/sim.sh [-r replications] [-j jobs] [-b build]
#
# Builds a Release tree (default build-release/) with gen-kanban-sim,
# gen-timer-sim, gen-polling-sim and the hand-written floor kanban-sim-floor,
# then simulates the kanban model (N = 1, its instant-of-time rewards at
# t = 10), the timer model (deterministic and instantaneous activities,
# experiment 4) and the polling model (20 stations, 60 activities, one
# replication in 100 of the others' count) with 1 and 2 worker processes, and
# the floor on the kanban model's replications, and prints one row per run:
# wall and CPU seconds, events and events per wall second. The seed is fixed,
# so the events are the same for 1 and 2 workers. Figures are printed, never
# judged.
set -euo pipefail
# shellcheck source=bench/common.sh
source "$(dirname "$0")/common.sh"

replication_options 50000 15 "$@"
build_release "$build" "$jobs" -- gen-kanban-sim gen-timer-sim gen-polling-sim kanban-sim-floor

# run <model> <workers> <command ...>: one row; the events are the first number
# of the line that says "events".
run() {
    local model=$1 workers=$2
    shift 2
    local start end cpu out events
    start=$(date +%s.%N)
    out=$( { /usr/bin/env time -f "cpu %U %S" "$@"; } 2>&1)
    end=$(date +%s.%N)
    cpu=$(sed -n 's/^cpu \([0-9.]*\) \([0-9.]*\)$/\1 \2/p' <<<"$out" | awk '{ print $1 + $2 }')
    events=$(grep -m1 -o '[0-9]* events' <<<"$out" | cut -d' ' -f1)
    awk -v m="$model" -v w="$workers" -v s="$start" -v e="$end" -v c="$cpu" -v n="$events" \
        'BEGIN { t = e - s; printf "%-14s %-4s %8.3f %8.3f %12d %14.0f\n", m, w, t, c, n, n / t }'
}

echo "load: $(uptime | sed 's/.*load average: //')"
printf '%-14s %-4s %8s %8s %12s %14s\n' model jobs wall cpu events events/s
for model in kanban timer polling; do
    experiment=0
    count=$reps
    [ "$model" = timer ] && experiment=4
    if [ "$model" = polling ]; then
        experiment=18
        count=$((reps / 100 > 2 ? reps / 100 : 2))
    fi
    for workers in 1 2; do
        run "$model" "$workers" "$build/gen-$model-sim" -B"$experiment" --seed 1 \
            --replications "$count" --batches 10 --threads "$workers"
    done
done
run kanban-floor 1 "$build/kanban-sim-floor" 1 "$reps"
