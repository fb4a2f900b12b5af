#!/usr/bin/env bash
# Benchmark of the distributed solve and of the binary row form on the polling
# model (default N = 16): one row per number of processes P (1, 2, 4) and kind of
# solve, and one row per input form.
#
#   bench/mpisolve.sh [-N n] [-t time] [-p "1 2 4"] [-d build] [-j jobs]
#
# Writes the model's files twice (text, and binary with --binary-rows), then:
#
#   transient   an instant-of-time value at -t (default 1) by uniformization
#   long-run    the long-run value (type 3) of the model's variable (P = 1 twice:
#               Gauss-Seidel, the default, and --bicgstab)
#
# each with P = 1 (gen-solve --threads 1, no mpirun) and under mpirun -np P
# (oversubscribed when P exceeds the cores). Each row: wall and CPU seconds (CPU
# over all processes), the peak resident memory of the largest process, the
# steps, sweeps or iterations, the bytes the processes send one another per step
# or per BiCGSTAB iteration (in all: two products and eight sums of 8 bytes from
# every process to every other), the bound and the value; a long-run row is
# followed by its method. Then the read: gen-solve on an instant at t = 0 (the
# solve itself is nothing) from the text files and from the part, with the files'
# sizes. Builds a Release tree in build-release/ unless -d names a built one.
# The load average is printed before and after; figures are printed, never judged.
set -euo pipefail
# shellcheck source=bench/common.sh
source "$(dirname "$0")/common.sh"

n=16
time=1
counts="1 2 4"
build=""
jobs=2
while getopts "N:t:p:d:j:h" opt; do
    case $opt in
    N) n=$OPTARG ;;
    t) time=$OPTARG ;;
    p) counts=$OPTARG ;;
    d) build=$OPTARG ;;
    j) jobs=$OPTARG ;;
    *) usage 21 ;;
    esac
done
if [ -z "$build" ]; then
    build=$root/build-release
    build_release "$build" "$jobs" -DGEN_BUILD_TESTS=OFF -- gen-polling gen-solve
else
    measure=$build/bench-measure
    [ -x "$measure" ] || "${CXX:-c++}" -O2 -std=c++20 -o "$measure" "$root/bench/measure.cpp"
fi
command -v mpirun >/dev/null || refuse "bench/mpisolve.sh: mpirun not found (scripts/install-deps.sh)"
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 GEN_SOLVE_FIGURES=1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

echo "machine: $(nproc) cores, $(uname -m); load before: $(cut -d' ' -f1-3 /proc/loadavg)"
"$build/gen-polling" -P"$dir/" -Nt -B$((n - 2)) >/dev/null
"$build/gen-polling" -P"$dir/" -Nb -B$((n - 2)) --binary-rows >/dev/null
echo "polling N = $n: $(sed -n 2p "$dir/t.arm") states; .arm $(du -m "$dir/t.arm" | cut -f1) MB," \
    "part $(du -m "$dir/b.rows.0" | cut -f1) MB"

# pvtype <stem> <type> <time>: one variable, the model's, at one time point.
pvtype() {
    local name
    name=$(sed -n 's/^Name://p' "$1.pvtype" | head -n 1)
    printf 'Version:1\nNumPV:1\nName:%s\nType:%s\nNumTimes:1\nStart:%s\nStop:%s\n' \
        "$name" "$2" "$3" "$3" >"$1.pvtype"
}

printf '%-10s %3s %9s %9s %9s %9s %12s  %-10s %s\n' solve P wall_s cpu_s peak_MiB steps/it \
    bytes/step/it bound value
# run <label> <P> <stem> [options]
run() {
    local label=$1 p=$2 stem=$3
    shift 3
    local command=("$build/gen-solve" --threads 1)
    [ "$p" -gt 1 ] && command=(mpirun --oversubscribe -np "$p" "$build/gen-solve")
    "$measure" "$dir/m.txt" "${command[@]}" "$@" --format csv "$stem" >"$dir/out.csv" \
        2>"$dir/err.txt" || true
    read -r status wall cpu rss <"$dir/m.txt"
    if [ "$status" -ne 0 ] && [ "$status" -ne 2 ]; then
        printf '%-10s %3s exit status %s: %s\n' "$label" "$p" "$status" "$(grep -m1 gen-solve "$dir/err.txt")"
        return
    fi
    local bytes product
    bytes=$(sed -n 's/.*bytes sent per step \([0-9]*\) in all.*/\1/p' "$dir/err.txt")
    product=$(sed -n 's/.*per product of BiCGSTAB \([0-9]*\) in all.*/\1/p' "$dir/err.txt")
    if [ "$label" = long-run ] && [ "${product:-0}" -gt 0 ]; then
        bytes=$((2 * product + 64 * p * (p - 1)))
    fi
    tail -n 1 "$dir/out.csv" | awk -F, -v l="$label" -v p="$p" -v w="$wall" -v c="$cpu" \
        -v r="$rss" -v b="${bytes:-0}" '{
        printf "%-10s %3s %9.2f %9.2f %9.1f %9s %12s  %-10.2e %.13g\n", l, p, w, c, r / 1024, $8, b, $6, $5 }'
    grep -h "alone\|NOT CONVERGED" "$dir/err.txt" "$dir/out.csv" | head -n 1 || true
    if [ "$label" = long-run ]; then
        printf '%14s%s\n' '' "$(tail -n 1 "$dir/out.csv" | grep -o '"limit[^"]*"')"
    fi
}

pvtype "$dir/t" 0 "$time"
for p in $counts; do run transient "$p" "$dir/t" --transient uniformization; done
pvtype "$dir/t" 3 0
for p in $counts; do run long-run "$p" "$dir/t"; done
run long-run 1 "$dir/t" --bicgstab

cp "$dir/t.pvtype" "$dir/b.pvtype"
pvtype "$dir/t" 0 0
pvtype "$dir/b" 0 0
printf '%-10s %9s %9s %9s\n' read wall_s cpu_s peak_MiB
for form in text binary; do
    stem=$dir/t options=()
    [ "$form" = binary ] && stem=$dir/b options=(--binary-rows)
    "$measure" "$dir/m.txt" "$build/gen-solve" --threads 1 ${options[@]+"${options[@]}"} "$stem" \
        >/dev/null 2>&1 || true
    read -r status wall cpu rss <"$dir/m.txt"
    printf '%-10s %9.2f %9.2f %9.1f\n' "$form" "$wall" "$cpu" "$((rss / 1024))"
done
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"
