#!/usr/bin/env bash
# Benchmark of gen-solve's values until absorption on a chain that fills the
# elimination: one row per model size and method.
#
#   bench/absorption.sh [-E "e ..."] [-U "e ..."] [-t seconds] [-j jobs] [-k]
#
# Builds a Release tree in build-release/ (gen-ring, gen-units, gen-solve and
# the measuring helper bench/measure.cpp), the ring model models/ring/ring.san being
# four buffers round a ring, stopped when all are full (a four-dimensional grid
# of states), writes its files for each experiment of -E (0 to 3:
# 2,401, 14,641, 50,625 and 194,481 states; default "0 1 2") and solves the
# mean time to absorption with
#
#   elim      gen-solve --absorption-method elimination, stopped after -t
#             seconds of wall time (default 300)
#   iter      gen-solve --absorption-method iterative (BiCGSTAB+ILU(0))
#   auto      gen-solve (the elimination within its budget, else BiCGSTAB)
#
# Then the units model, models/units/units.san (N units failing without
# repair, stopped when all have failed: every transition runs forwards in the
# state numbering), for each experiment of -U (0 to 2: N = 10, 14 and 16,
# 1,024 to 65,536 states; default "0 1 2"), solved whole with the defaults and
# --absorption: its row gives the time to absorption, and a second line the
# reliability at a million hours, from the same run.
#
# Each row: CPU seconds, peak resident memory, the error bound, the value and
# the method column. The load average is printed before and after. -k keeps the
# files in build-release/absorption-bench/.
set -euo pipefail
# shellcheck source=bench/common.sh
source "$(dirname "$0")/common.sh"

experiments="0 1 2"
units="0 1 2"
limit=300
jobs=2
keep=0
while getopts "E:U:t:j:kh" opt; do
    case $opt in
    E) experiments=$OPTARG ;;
    U) units=$OPTARG ;;
    t) limit=$OPTARG ;;
    j) jobs=$OPTARG ;;
    k) keep=1 ;;
    *) usage 21 ;;
    esac
done

build=$root/build-release
dir=$build/absorption-bench
build_release "$build" "$jobs" -DGEN_BUILD_TESTS=OFF -- gen-ring gen-units gen-solve
ring=$build/gen-ring
rm -rf "$dir"
mkdir -p "$dir"
[ "$keep" -eq 1 ] || trap 'rm -rf "$dir"' EXIT

echo "machine: $(nproc) cores, $(uname -m); load before: $(cut -d' ' -f1-3 /proc/loadavg)"
printf '%-6s %8s %-6s %9s %9s  %-10s %-20s %s\n' exp states method cpu_s peak_MiB bound value \
    method_text

# row <e> <states> <label> <stem> [options]: the time to absorption's row.
row() {
    local e=$1 states=$2 label=$3 stem=$4
    shift 4
    "$measure" "$dir/m.txt" timeout "$limit" "$build/gen-solve" "$stem" "$@" --format csv \
        >"$dir/out.csv" 2>"$dir/err.txt" || true
    read -r status _ cpu rss <"$dir/m.txt"
    if [ "$status" -eq 124 ]; then
        printf '%-6s %8s %-6s %9.2f %9.1f  stopped after %s s of wall time\n' "$e" "$states" \
            "$label" "$cpu" "$(awk -v r="$rss" 'BEGIN { print r / 1024 }')" "$limit"
        return
    fi
    if [ "$status" -ne 0 ] && [ "$status" -ne 2 ]; then
        printf '%-6s %8s %-6s exit status %s: %s\n' "$e" "$states" "$label" "$status" \
            "$(head -n 1 "$dir/err.txt")"
        return
    fi
    awk -F, -v e="$e" -v n="$states" -v l="$label" -v c="$cpu" -v r="$rss" '
        $1 == "time to absorption" { value = $5; bound = $6
                  method = $11; for (i = 12; i <= NF; i++) method = method "," $i
                  gsub(/"/, "", method) }
        END { printf "%-6s %8s %-6s %9.2f %9.1f  %-10.2e %-20.16g %s\n",
                     e, n, l, c, r / 1024, bound, value, method }' "$dir/out.csv"
}

for e in $experiments; do
    stem=$dir/ring$e
    "$ring" -P"$dir/" -N"ring$e" -B"$e" >"$dir/gen.out" 2>"$dir/gen.err" ||
        refuse "gen-ring failed: $(head -n 1 "$dir/gen.err")"
    states=$(awk '/^Generated:/ { print $2 }' "$dir/gen.out")
    row "$e" "$states" elim "$stem" --absorption-method elimination
    row "$e" "$states" iter "$stem" --absorption-method iterative
    row "$e" "$states" auto "$stem"
done
for e in $units; do
    stem=$dir/units$e
    "$build/gen-units" -P"$dir/" -N"units$e" -B"$e" >"$dir/gen.out" 2>"$dir/gen.err" ||
        refuse "gen-units failed: $(head -n 1 "$dir/gen.err")"
    states=$(awk '/^Generated:/ { print $2 }' "$dir/gen.out")
    row "u$e" "$states" auto "$stem" --absorption
    awk -F, '$1 == "reliability" && $4 == "1e+06" { method = $11
                 for (i = 12; i <= NF; i++) method = method "," $i
                 gsub(/"/, "", method)
                 printf "%-6s %8s %-6s %9s %9s  %-10.2e %-20.16g %s\n", "", "", "t=1e6", "", "",
                        $6, $5, method }' "$dir/out.csv"
done
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
