#!/usr/bin/env bash
# Benchmark of the generator on state spaces past the sizes where the state
# store used to stop: the counter test model (a chain of states, 4-byte state
# vector) past 2^24 = 16,777,216 states and past 35.5 million (where the index
# outgrows the 14 listed sizes), and the polling model at N = 20 (31,457,280
# states, 44-byte vector).
#
#   bench/large.sh [-j jobs] [-d] [-k] [run ...]
#
# Builds gen-counter and gen-polling in build-large/ (Release; gen-counter is a
# test model, so GoogleTest must be installed), then runs each chosen run once,
# one at a time, and prints one table row per run: states, wall and CPU seconds,
# peak resident memory, and the peak per state beside the state vector's size.
# The figures are printed, never judged: a run that ends with a non-zero status
# shows its status and the first line of its error output. A run needs up to
# about 2.5 GB of memory and, with its files written, up to 9 GB of disk.
#
#   -j jobs   parallel build jobs (default 2)
#   -d        send the .arm and .var files to /dev/null (time without the disk)
#   -k        keep the result files in build-large/large-out/
#   run       counter17 (17,000,000 states), counter40 (40,000,000 states),
#             polling20 (N = 20); default: all three
set -euo pipefail
# shellcheck source=bench/common.sh
source "$(dirname "$0")/common.sh"

jobs=2
discard=0
keep=0
while getopts "j:dkh" opt; do
    case $opt in
    j) jobs=$OPTARG ;;
    d) discard=1 ;;
    k) keep=1 ;;
    *) usage 22 ;;
    esac
done
shift $((OPTIND - 1))
chosen=("$@")
[ ${#chosen[@]} -gt 0 ] || chosen=(counter17 counter40 polling20)

# run name -> executable, arguments after -P/-N, state vector bytes
declare -A exes=([counter17]=gen-counter [counter40]=gen-counter [polling20]=gen-polling)
declare -A arguments=([counter17]="-B0 -Oi:Size:17000000" [counter40]="-B0 -Oi:Size:40000000"
    [polling20]="-B18")
declare -A vectors=([counter17]=4 [counter40]=4 [polling20]=44)
for name in "${chosen[@]}"; do
    [ -n "${exes[$name]:-}" ] || refuse "bench/large.sh: unknown run '$name' (counter17, counter40 or polling20)"
done

build=$root/build-large
out=$build/large-out

build_release "$build" "$jobs" -- gen-counter gen-polling

echo "large runs, one at a time; machine: $(nproc) cores, $(uname -m); load: $(cut -d' ' -f1-3 /proc/loadavg)"
[ "$discard" -eq 1 ] && echo ".arm and .var sent to /dev/null"
printf '%-10s %12s %9s %9s %10s %12s %13s %10s\n' \
    run states wall_s cpu_s peak_MiB bytes/state vector_bytes over_vector
for name in "${chosen[@]}"; do
    dir=$out/$name
    rm -rf "$dir"
    mkdir -p "$dir"
    if [ "$discard" -eq 1 ]; then
        ln -s /dev/null "$dir/run.arm"
        ln -s /dev/null "$dir/run.var"
    fi
    # shellcheck disable=SC2086 # the arguments are words on purpose
    (cd "$dir" && "$measure" measure.txt "$build/${exes[$name]}" -P./ -Nrun ${arguments[$name]} \
        >stdout.txt 2>stderr.txt) || true
    read -r status wall cpu rss <"$dir/measure.txt"
    states=$(sed -n 's/^Generated: \([0-9]*\) states$/\1/p' "$dir/stdout.txt")
    if [ "$status" -eq 0 ] && [ -n "$states" ]; then
        awk -v r="$name" -v s="$states" -v w="$wall" -v c="$cpu" -v m="$rss" -v v="${vectors[$name]}" 'BEGIN {
            printf "%-10s %12d %9.1f %9.1f %10.0f %12.1f %13d %10.1f\n",
                r, s, w, c, m / 1024, m * 1024 / s, v, m * 1024 / s - v }'
    else
        printf '%-10s %12s %9.1f %9.1f %10.0f %12s %13s %10s  exit status %d\n' \
            "$name" - "$wall" "$cpu" "$((rss / 1024))" - "${vectors[$name]}" - "$status"
        echo "           $(head -n 1 "$dir/stderr.txt")"
    fi
    [ "$keep" -eq 1 ] || rm -rf "$dir"
done
