#!/usr/bin/env bash
# Benchmark of gen-solve's transient methods on stiff chains: one row per model
# size, time point and method.
#
#   bench/stiff.sh [-E "e ..."] [-T "t ..."] [-U steps] [-A] [-j jobs] [-k]
#
# Builds a Release tree in build-release/ (gen, gen-stiff, gen-solve and the
# measuring helper bench/measure.cpp), writes the stiff model models/stiff/stiff.san
# for each experiment of -E (0 to 4: 240, 5,200, 20,400, 80,800 and 999,696
# states; default "0 4") and solves, per time point of -T (default "1 100 10000"),
# the reliability at t and the busy hours over [0, t] (a .pvtype holding just
# those) with:
#
#   auto      gen-solve --transient auto (extrapolation with elimination on
#             small chains, with iterative solves on large ones)
#   iter      gen-solve --transient iterative (small chains only: on large ones
#             auto is the same)
#   uniform   gen-solve --transient uniformization, run only when it needs at most
#             -U steps (default 2e5); otherwise the row gives the steps q t it
#             would need
#
# and the shipped model (./gen, experiment 1) at t = 24 with auto and uniform.
# -A adds per experiment the mean time to failure (gen-solve --absorption; the
# row's t reads "mttf", its steps column is empty) and the long-run reliability
# (a steady-state variable, beside the busy hours over [0, 0], which need no
# solve; t reads "inf", the steps column holds the sweeps and iterations of the
# limit's solve).
# Each row: CPU seconds, peak resident memory, the steps column (uniformization
# steps or linear solves), the error bound or estimate and the value, for the
# reliability (the busy hours' row follows with its bound). The load average is
# printed before and after. -k keeps the files in build-release/stiff-bench/.
set -euo pipefail
# shellcheck source=bench/common.sh
source "$(dirname "$0")/common.sh"

experiments="0 4"
times="1 100 10000"
maxUniform=200000
jobs=2
keep=0
absorption=0
while getopts "E:T:U:Aj:kh" opt; do
    case $opt in
    E) experiments=$OPTARG ;;
    T) times=$OPTARG ;;
    U) maxUniform=$OPTARG ;;
    A) absorption=1 ;;
    j) jobs=$OPTARG ;;
    k) keep=1 ;;
    *) usage 26 ;;
    esac
done

build=$root/build-release
dir=$build/stiff-bench
build_release "$build" "$jobs" -DGEN_BUILD_TESTS=OFF -- gen gen-stiff gen-solve
rm -rf "$dir"
mkdir -p "$dir"
[ "$keep" -eq 1 ] || trap 'rm -rf "$dir"' EXIT

echo "machine: $(nproc) cores, $(uname -m); load before: $(cut -d' ' -f1-3 /proc/loadavg)"
printf '%-10s %-7s %-8s %9s %9s %10s  %-10s %-20s %-10s %s\n' model t method cpu_s peak_MiB \
    steps bound value busy_bound method_text

# solve <model> <t> <label> <stem> [options]: one row.
solve() {
    local model=$1 t=$2 label=$3 stem=$4
    shift 4
    "$measure" "$dir/m.txt" "$build/gen-solve" "$@" "$stem" --format csv >"$dir/out.csv" \
        2>"$dir/err.txt" || true
    read -r status wall cpu rss <"$dir/m.txt"
    if [ "$status" -ne 0 ] && [ "$status" -ne 2 ]; then
        printf '%-10s %-7s %-8s exit status %s: %s\n' "$model" "$t" "$label" "$status" \
            "$(head -n 1 "$dir/err.txt")"
        return
    fi
    awk -F, -v m="$model" -v t="$t" -v l="$label" -v c="$cpu" -v r="$rss" -v w="$wall" '
        NR == 2 { value = $5; bound = $6; steps = $8
                  method = $11; for (i = 12; i <= NF; i++) method = method "," $i
                  gsub(/"/, "", method) }
        NR == 3 { busy = $6 }
        END { printf "%-10s %-7s %-8s %9.2f %9.1f %10s  %-10.2e %-20.16g %-10.2e %s\n",
                     m, t, l, c, r / 1024, steps, bound, value, busy, method }' "$dir/out.csv"
}

# mttf <model> <stem>: the time to absorption's row of gen-solve --absorption.
mttf() {
    local model=$1 stem=$2
    printf 'Version:1\nNumPV:2\nName:reliability\nType:0\nNumTimes:1\nStart:1\nStop:1\n' >"$stem.pvtype"
    printf 'Name:busy_hours\nType:1\nNumTimes:1\nStart:0\nStop:1\n' >>"$stem.pvtype"
    "$measure" "$dir/m.txt" "$build/gen-solve" "$stem" --absorption --format csv >"$dir/out.csv" \
        2>"$dir/err.txt" || true
    read -r status wall cpu rss <"$dir/m.txt"
    if [ "$status" -ne 0 ] && [ "$status" -ne 2 ]; then
        printf '%-10s %-7s %-8s %9.2f %9s exit status %s: %s\n' "$model" mttf elim "$cpu" \
            "$(awk -v r="$rss" 'BEGIN { printf "%.1f", r / 1024 }')" "$status" \
            "$(head -n 1 "$dir/err.txt")"
        return
    fi
    awk -F, -v m="$model" -v c="$cpu" -v r="$rss" '
        $1 == "time to absorption" { value = $5; bound = $6
                  method = $11; for (i = 12; i <= NF; i++) method = method "," $i
                  gsub(/"/, "", method) }
        END { printf "%-10s %-7s %-8s %9.2f %9.1f %10s  %-10.2e %-20.16g %-10s %s\n",
                     m, "mttf", "elim", c, r / 1024, "", bound, value, "", method }' "$dir/out.csv"
}

# longrun <model> <stem>: the long-run reliability (a steady-state variable).
longrun() {
    local model=$1 stem=$2
    printf 'Version:1\nNumPV:2\nName:reliability\nType:3\nNumTimes:1\nStart:0\nStop:0\n' >"$stem.pvtype"
    printf 'Name:busy_hours\nType:1\nNumTimes:1\nStart:0\nStop:0\n' >>"$stem.pvtype"
    solve "$model" inf limit "$stem"
}

# uniform <model> <t> <stem>: uniformization when it needs at most -U steps.
uniform() {
    local model=$1 t=$2 stem=$3
    # q t, q = 1.02 times the largest exit rate. After three header lines, each
    # .arm row is its state, then target and rate pairs, then 0.
    local steps
    steps=$(awk -v t="$t" 'NR <= 3 { next }
        want == "state" || want == "" { want = "target"; sum = 0; next }
        want == "target" { if ($1 == 0) { if (sum > m) m = sum; want = "state" } else want = "rate"; next }
        want == "rate" { sum += $1; want = "target" }
        END { printf "%.0f", 1.02 * m * t }' "$stem.arm")
    if [ "$steps" -le "$maxUniform" ]; then
        solve "$model" "$t" uniform "$stem" --transient uniformization
    else
        printf '%-10s %-7s %-8s %9s %9s %10s  needs about %s uniformization steps (q t), not run\n' \
            "$model" "$t" uniform - - - "$steps"
    fi
}

for e in $experiments; do
    stem=$dir/stiff$e
    "$build/gen-stiff" -P"$dir/" -N"stiff$e" -B"$e" >/dev/null 2>"$dir/gen.err" ||
        refuse "gen-stiff failed: $(head -n 1 "$dir/gen.err")"
    states=$(sed -n 2p "$stem.arm")
    for t in $times; do
        printf 'Version:1\nNumPV:2\nName:reliability\nType:0\nNumTimes:1\nStart:%s\nStop:%s\n' "$t" "$t" >"$stem.pvtype"
        printf 'Name:busy_hours\nType:1\nNumTimes:1\nStart:0\nStop:%s\n' "$t" >>"$stem.pvtype"
        solve "stiff$states" "$t" auto "$stem"
        [ "$states" -gt 20000 ] || solve "stiff$states" "$t" iter "$stem" --transient iterative
        uniform "stiff$states" "$t" "$stem"
    done
    if [ "$absorption" -eq 1 ]; then
        mttf "stiff$states" "$stem"
        longrun "stiff$states" "$stem"
    fi
    rm -f "$stem".*
done

# The shipped model at t = 24 (its experiment 1 asks for that time point).
(cd "$dir" && "$build/gen" -P"$dir/" -Ngen -B0 >/dev/null)
solve gen 24 auto "$dir/gen"
solve gen 24 iter "$dir/gen" --transient iterative
uniform gen 24 "$dir/gen"
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
