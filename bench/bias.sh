#!/usr/bin/env bash
# Benchmark of the simulator's rare-event methods: plain replications and batch
# means, biasing by factors, and balanced failure biasing with regeneration
# cycles, on the two kinds of independent units of
# tests/simulator/balanced/balanced.san with la = 1e-4 and lb = 1e-7 (down at
# time 1 with probability about 6.4e-8, unavailability about 1.1e-7: a cycle
# from all units up reaches the down state about once in 2,000), against the
# exact values of gen-solve.
#
#   bench/bias.sh [-r replications] [-j jobs] [-b build]
#
# Prints per method and value: the estimate, its relative half-width (95 %),
# the run's CPU seconds (both values come from one run) and the relative
# half-width that one CPU second gives, r * sqrt(cpu), the figure that compares
# methods of different cost. Figures are printed, never judged.
set -euo pipefail
# shellcheck source=bench/common.sh
source "$(dirname "$0")/common.sh"

replication_options 20000 15 "$@"
build_release "$build" "$jobs" -- gen-simbalanced gen-simbalanced-sim gen-solve

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
rates=d:la:1e-4:d:lb:1e-7
"$build/tests/gen-simbalanced" -P"$out/" -Nb -B0 -O"$rates" >/dev/null
# variable -> exact value, from gen-solve's report.
exact=$("$build/gen-solve" -P"$out/" -Nb --format csv | awk -F, 'NR > 1 { print $1, $5 }')

echo "load: $(uptime | sed 's/.*load average: //')"
printf '%-34s %-15s %-12s %-12s %10s %8s %12s\n' method variable exact value rel.hw cpu "rel.hw@1s"
run() {
    local label=$1
    shift
    local csv cpu
    csv=$( { /usr/bin/env time -f "cpu %U %S" "$build/tests/gen-simbalanced-sim" -O"$rates" \
        --seed 1 --threads 1 --format csv "$@"; } 2>&1)
    cpu=$(sed -n 's/^cpu \([0-9.]*\) \([0-9.]*\)$/\1 \2/p' <<<"$csv" | awk '{ print $1 + $2 }')
    grep -E '^(downAt|unavailability),' <<<"$csv" | while IFS=, read -r variable _ _ _ value half _; do
        awk -v l="$label" -v v="$variable" -v x="$value" -v h="$half" -v c="$cpu" \
            -v e="$(awk -v v="$variable" '$1 == v { print $2 }' <<<"$exact")" \
            'BEGIN { r = x != 0 ? h / (x < 0 ? -x : x) : -1
                     printf "%-34s %-15s %-12.5g %-12.5g %10s %8.2f %12s\n", l, v, e, x,
                         r < 0 ? "none" : sprintf("%.3g", r), c,
                         r < 0 ? "none" : sprintf("%.3g", r * sqrt(c)) }'
    done
}
run "plain replications, batch means" --replications "$reps"
run "factors failA x1000 failB x100000" --replications "$reps" --bias failA=1000 \
    --bias failB=100000
run "balanced 0.5, regeneration cycles" --replications "$reps" --balanced failA,failB=0.5
run "balanced 0.8, regeneration cycles" --replications "$reps" --balanced failA,failB=0.8
