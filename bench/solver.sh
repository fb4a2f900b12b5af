#!/usr/bin/env bash
# Benchmark of gen-solve, before and after: one row per model, solver and number
# of threads, for long-run and transient values.
#
#   bench/solver.sh [-b gen-solve] [-P "N ..."] [-K "N ..."] [-M "n ..."] [-T t] [-j jobs] [-k]
#
# Builds a Release tree in build-release/ (gen, gen-polling, gen-kanban,
# gen-mpscaled, gen-solve and the measuring helper bench/measure.cpp), writes the
# polling model for each N of -P (default "16 18"), the kanban model for each N
# of -K (default "5") and the scaled multiprocessor for each n of -M (its
# experiments: 100, 200, 400 and 795, 61,206 to 3,801,696 states; default "100
# 200 400"), and solves the long-run value of every variable of each (a .pvtype
# of type 3 beside the same .arm and .var; the row shows the last variable) with:
#
#   before    the gen-solve given by -b (for example a build of an older
#             commit; left out when not given)
#   GS        this tree's gen-solve (Gauss-Seidel)
#   BiCG t1   this tree's gen-solve --bicgstab --threads 1
#   BiCG t2   this tree's gen-solve --bicgstab --threads 2
#   MG t1     this tree's gen-solve --multigrid --threads 1
#
# Then the transient value of every variable at t = -T (default 5) of each
# polling model by uniformization, rows "before", "unif t1" and "unif t2" (one
# and two threads), and the shipped model's first experiment at its t = 24 with
# the automatic choice of method ("before", "auto") and by uniformization
# ("unif t1").
#
# Each row: wall and CPU seconds, peak resident memory, the method with its
# iterations, sweeps or steps, the error bound and the value. The load average
# is printed before and after (the machine may be shared): compare CPU seconds,
# and wall seconds of one and two threads only on an idle machine. Figures are
# printed, never judged. -k keeps the files in build-release/solver-bench/.
set -euo pipefail
# shellcheck source=bench/common.sh
source "$(dirname "$0")/common.sh"

before=""
polling="16 18"
kanban="5"
mpscaled="100 200 400"
time=5
jobs=2
keep=0
while getopts "b:P:K:M:T:j:kh" opt; do
    case $opt in
    b) before=$OPTARG ;;
    P) polling=$OPTARG ;;
    K) kanban=$OPTARG ;;
    M) mpscaled=$OPTARG ;;
    T) time=$OPTARG ;;
    j) jobs=$OPTARG ;;
    k) keep=1 ;;
    *) usage 21 ;;
    esac
done
[ -z "$before" ] || [ -x "$before" ] || refuse "bench/solver.sh: '$before' is not an executable"

build=$root/build-release
dir=$build/solver-bench
build_release "$build" "$jobs" -DGEN_BUILD_TESTS=OFF -- gen gen-polling gen-kanban gen-mpscaled gen-solve
rm -rf "$dir"
mkdir -p "$dir"
[ "$keep" -eq 1 ] || trap 'rm -rf "$dir"' EXIT

echo "machine: $(nproc) cores, $(uname -m); load before: $(cut -d' ' -f1-3 /proc/loadavg)"
printf '%-12s %-9s %9s %9s %9s  %-12s %-48s %s\n' model solver wall_s cpu_s peak_MiB bound method value

# solve <model label> <stem> <solver label> <gen-solve> [options]
solve() {
    local model=$1 stem=$2 label=$3
    shift 3
    "$measure" "$dir/m.txt" "$@" "$stem" --format csv >"$dir/out.csv" 2>"$dir/err.txt" || true
    read -r status wall cpu rss <"$dir/m.txt"
    if [ "$status" -ne 0 ] && [ "$status" -ne 2 ]; then
        printf '%-12s %-9s exit status %s: %s\n' "$model" "$label" "$status" "$(head -n 1 "$dir/err.txt")"
        return
    fi
    tail -n 1 "$dir/out.csv" | awk -F, -v m="$model" -v l="$label" -v w="$wall" -v c="$cpu" -v r="$rss" '{
        method = $11; for (i = 12; i <= NF; i++) method = method "," $i
        gsub(/"/, "", method); sub(/^limit, /, "", method)
        if (method !~ /[0-9]/ && $8 != "") method = method ", " $8 " steps"
        printf "%-12s %-9s %9.2f %9.2f %9.1f  %-12.2e %-48s %.13g\n", m, l, w, c, r / 1024, $6, method, $5 }'
}

# transient <model label> <stem> <time> <variant ...>: every variable of <stem>
# at <time>, from a .pvtype of its own beside the same .arm and .var; each
# variant is "before", "auto", "unif t1" or "unif t2".
transient() {
    local model=$1 stem=$2 t=$3
    shift 3
    local tstem=${stem}_t
    ln -sf "$stem.arm" "$tstem.arm"
    ln -sf "$stem.var" "$tstem.var"
    awk -v t="$t" '/^Name:/ { print; print "Type:0"; print "NumTimes:1"; print "Start:" t; print "Stop:" t; next }
        /^(Type|NumTimes|Start|Stop):/ { next } { print }' "$stem.pvtype" >"$tstem.pvtype"
    local variant
    for variant in "$@"; do
        case $variant in
        before) [ -z "$before" ] || solve "$model" "$tstem" before "$before" ;;
        auto) solve "$model" "$tstem" auto "$build/gen-solve" ;;
        "unif t1") solve "$model" "$tstem" "unif t1" "$build/gen-solve" --transient uniformization --threads 1 ;;
        "unif t2") solve "$model" "$tstem" "unif t2" "$build/gen-solve" --transient uniformization --threads 2 ;;
        esac
    done
    rm -f "$tstem".*
}

# model <label> <generator> <options...>: writes the files, solves them.
model() {
    local label=$1 exe=$2
    shift 2
    local stem=$dir/${label//[^a-z0-9]/_}
    "$build/$exe" -P"$dir/" -N"${label//[^a-z0-9]/_}" "$@" >/dev/null 2>"$dir/gen.err" ||
        { echo "$exe failed: $(head -n 1 "$dir/gen.err")" >&2; return; }
    cp "$stem.pvtype" "$stem.pvtype0"
    # Every variable of the run, each asked for its long-run value.
    awk '/^Name:/ { print; print "Type:3"; print "NumTimes:1"; print "Start:0"; print "Stop:0"; next }
        /^(Type|NumTimes|Start|Stop):/ { next } { print }' "$stem.pvtype" >"$stem.steady"
    mv "$stem.steady" "$stem.pvtype"
    echo "$label: $(sed -n 2p "$stem.arm") states"
    [ -z "$before" ] || solve "$label" "$stem" before "$before"
    solve "$label" "$stem" GS "$build/gen-solve"
    solve "$label" "$stem" "BiCG t1" "$build/gen-solve" --bicgstab --threads 1
    solve "$label" "$stem" "BiCG t2" "$build/gen-solve" --bicgstab --threads 2
    solve "$label" "$stem" "MG t1" "$build/gen-solve" --multigrid --threads 1
    if [ "${label#polling}" != "$label" ]; then
        mv "$stem.pvtype0" "$stem.pvtype"
        transient "$label t=$time" "$stem" "$time" before "unif t1" "unif t2"
    fi
    rm -f "$stem".*
}

for n in $polling; do model "polling$n" gen-polling -B$((n - 2)); done
for n in $kanban; do model "kanban$n" gen-kanban -B$((n - 1)); done
for n in $mpscaled; do
    case $n in
    10) experiment=0 ;;
    100) experiment=1 ;;
    200) experiment=2 ;;
    400) experiment=3 ;;
    795) experiment=4 ;;
    *) refuse "bench/solver.sh: mpscaled has experiments for n = 10, 100, 200, 400 and 795, not $n" ;;
    esac
    model "mpscaled$n" gen-mpscaled -B$experiment
done
# The shipped model's first experiment at its own time point.
"$build/gen" -P"$dir/" -Ncomputer -B0 >/dev/null 2>"$dir/gen.err" ||
    { echo "gen failed: $(head -n 1 "$dir/gen.err")" >&2; exit 1; }
echo "computer (the shipped model, experiment 1): $(sed -n 2p "$dir/computer.arm") states"
[ -z "$before" ] || solve "computer t=24" "$dir/computer" before "$before"
solve "computer t=24" "$dir/computer" auto "$build/gen-solve"
solve "computer t=24" "$dir/computer" "unif t1" "$build/gen-solve" --transient uniformization --threads 1
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
