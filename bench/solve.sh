#!/usr/bin/env bash
# Benchmark of gen-solve on the polling model.
#
#   bench/solve.sh [-n N] [-j jobs] [-k]
#
# Builds a Release tree in build-release/ (gen-polling, gen-solve and the
# measuring helper bench/measure.cpp), writes the polling model's files for N
# stations (default 16: 1,572,864 states, 13,893,632 transitions) with
# gen-polling, then runs gen-solve on them once per case, each with its own
# .pvtype file beside the same .arm and .var:
#
#   read        the value at t = 0: reading the files and nothing else
#   t=0.1..     one transient time point each (uniformization)
#   t=0.1,1,5   three time points in one run
#   steady      the long-run value (Gauss-Seidel on the one closed class)
#
# and prints one row per case: wall and CPU seconds, peak resident memory (also
# per transition), uniformization steps or sweeps, the error bound and the value.
# The first row is gen-polling writing the files, for comparison with reading
# them. Figures are printed, never judged. -k keeps the files in
# build-release/solve-bench/.
set -euo pipefail
# shellcheck source=bench/common.sh
source "$(dirname "$0")/common.sh"

n=16
jobs=2
keep=0
while getopts "n:j:kh" opt; do
    case $opt in
    n) n=$OPTARG ;;
    j) jobs=$OPTARG ;;
    k) keep=1 ;;
    *) usage 21 ;;
    esac
done
if ! [[ $n =~ ^[0-9]+$ ]] || [ "$n" -lt 2 ] || [ "$n" -gt 20 ]; then
    refuse "bench/solve.sh: N must be an integer from 2 to 20, not '$n'"
fi

build=$root/build-release
dir=$build/solve-bench

build_release "$build" "$jobs" -DGEN_BUILD_TESTS=OFF -- gen-polling gen-solve
rm -rf "$dir"
mkdir -p "$dir"
[ "$keep" -eq 1 ] || trap 'rm -rf "$dir"' EXIT

echo "polling N = $n; machine: $(nproc) cores, $(uname -m); load before: $(cut -d' ' -f1-3 /proc/loadavg)"
printf '%-12s %9s %9s %9s %12s %8s %11s %s\n' case wall_s cpu_s peak_MiB bytes/trans steps bound value

"$measure" "$dir/gen.txt" "$build/gen-polling" -P"$dir/" -Npolling -B$((n - 2)) >/dev/null 2>"$dir/gen.err"
read -r status wall cpu rss <"$dir/gen.txt"
if [ "$status" -ne 0 ]; then
    echo "gen-polling failed (status $status): $(head -n 1 "$dir/gen.err")" >&2
    exit 1
fi
transitions=$(awk 'NR == 1 { next } NR == 2 { n = $1; next } NR == 3 { next }
    { lines++ } END { print (lines - 2 * n) / 2 }' "$dir/polling.arm")
printf '%-12s %9.2f %9.2f %9.1f %12s %8s %11s %s\n' "gen (write)" "$wall" "$cpu" \
    "$(awk -v m="$rss" 'BEGIN { print m / 1024 }')" - - - "$(stat -c %s "$dir/polling.arm") bytes of .arm"

# case <label> <type> <times...>: a .pvtype with the variable waiting of that type.
run_case() {
    local label=$1 type=$2
    shift 2
    local stem=$dir/c_${label//[^a-z0-9]/_}
    ln -sf "$dir/polling.arm" "$stem.arm"
    ln -sf "$dir/polling.var" "$stem.var"
    {
        printf 'Version:1\nNumPV:1\nName:waiting\nType:%s\nNumTimes:%s\n' "$type" "$#"
        for t in "$@"; do printf 'Start:%s\nStop:%s\n' "$t" "$t"; done
    } >"$stem.pvtype"
    "$measure" "$dir/m.txt" "$build/gen-solve" "$stem" --format csv >"$dir/out.csv" 2>"$dir/err.txt" || true
    read -r status wall cpu rss <"$dir/m.txt"
    if [ "$status" -ne 0 ]; then
        printf '%-12s %9.2f %9.2f %9.1f  exit status %s: %s\n' "$label" "$wall" "$cpu" \
            "$(awk -v m="$rss" 'BEGIN { print m / 1024 }')" "$status" "$(head -n 1 "$dir/err.txt")"
        return
    fi
    # The last time point's row: steps, bound and value.
    tail -n 1 "$dir/out.csv" | awk -F, -v l="$label" -v w="$wall" -v c="$cpu" -v m="$rss" -v t="$transitions" '{
        printf "%-12s %9.2f %9.2f %9.1f %12.1f %8s %11.2e %.12g\n", l, w, c, m / 1024, m * 1024 / t, $8, $6, $5 }'
}

run_case read 0 0
run_case t=0.1 0 0.1
run_case t=1 0 1
run_case t=5 0 5
run_case t=0.1,1,5 0 0.1 1 5
run_case steady 3 0
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
