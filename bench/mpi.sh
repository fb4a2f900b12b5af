#!/usr/bin/env bash
# Benchmark of the exploration over several MPI processes on the polling
# model, against the generator on one process (no mpirun): states per second,
# processor time per state (summed over the processes), the largest peak
# memory of one process, and the bytes each state and transition sent
# between processes.
#
#   bench/mpi.sh [-j jobs] [-b build] [-p "processes ..."] [-r] [N ...]
#
# Builds gen-polling in build-mpi/ or <build> (Release, with MPI), then for each polling
# size N (default 18; N is set through the experiment -B N-2) runs gen once
# on one process and once under mpirun for each process count (default
# "2 4"; more processes than cores are oversubscribed, and then wait by
# yielding the core). Each process reports itself through
# GEN_DISTRIBUTED_STATS; the row "dist1" is the distributed exploration on
# one process (GEN_DISTRIBUTED_ALWAYS), its cost without waits. The files are
# written to <build>/mpi-out/ and removed. The figures are printed, never judged.
#
#   -j jobs          parallel build jobs (default 2)
#   -b build         the build folder (default build-mpi)
#   -p "P ..."       process counts (default "2 4")
#   -r               every run with --binary-rows: each process writes its own
#                    part and no .arm is written (the text .arm of N = 20 takes 9 GB)
set -euo pipefail
# shellcheck source=bench/common.sh
source "$(dirname "$0")/common.sh"

jobs=2
counts="2 4"
build=$root/build-mpi
binary=()
while getopts "j:b:p:rh" opt; do
    case $opt in
    j) jobs=$OPTARG ;;
    b) build=$OPTARG ;;
    p) counts=$OPTARG ;;
    r) binary=(--binary-rows) ;;
    *) usage 25 ;;
    esac
done
shift $((OPTIND - 1))
sizes=("$@")
[ ${#sizes[@]} -gt 0 ] || sizes=(18)
command -v mpirun >/dev/null 2>&1 || refuse "bench/mpi.sh: mpirun not found (scripts/install-deps.sh --mpi)"

out=$build/mpi-out
build_release "$build" "$jobs" -- gen-polling
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1

# transitions <states>: the transitions of the run in $out, from the .arm (a row
# is its number, a target and a rate per transition, and the line 0; the rows
# start on line 4) or from the parts' sizes (a part is a 48-byte header, a row
# 9 bytes and 12 per transition, a record 5 bytes and 16 per variable, and a
# 17-byte trailer).
transitions() {
    if [ -f "$out/run.arm" ]; then
        awk -v s="$1" 'NR > 3 && NF > 0 { lines++ } END { print (lines - 2 * s) / 2 }' "$out/run.arm"
        return
    fi
    local parts=("$out"/run.rows.*) bytes=0 part
    for part in "${parts[@]}"; do bytes=$((bytes + $(stat -c %s "$part"))); done
    local variables
    variables=$(od -An -tu4 -j20 -N4 "${parts[0]}" | tr -d ' ')
    echo $(((bytes - 65 * ${#parts[@]} - (14 + 16 * variables) * $1) / 12))
}

echo "polling model${binary[*]:+ (--binary-rows)}; machine: $(nproc) cores, $(uname -m); load: $(cut -d' ' -f1-3 /proc/loadavg)"
printf '%-4s %-6s %11s %12s %8s %9s %11s %13s %11s %11s\n' N run states transitions wall_s \
    states/s cpu_us/state peak_MiB/proc sent_B/state sent_B/tr
for n in "${sizes[@]}"; do
    rm -rf "$out"
    mkdir -p "$out"
    (cd "$out" && "$measure" measure.txt "$build/gen-polling" -P./ -Nrun "-B$((n - 2))" \
        ${binary[@]+"${binary[@]}"} >stdout.txt 2>stderr.txt) || true
    read -r status wall cpu rss <"$out/measure.txt"
    states=$(sed -n 's/^Generated: \([0-9]*\) states$/\1/p' "$out/stdout.txt")
    transitions=$(transitions "$states")
    awk -v n="$n" -v s="$states" -v t="$transitions" -v w="$wall" -v c="$cpu" -v m="$rss" 'BEGIN {
        printf "%-4d %-6s %11d %12d %8.1f %9.0f %11.2f %13.0f %11s %11s\n",
            n, "gen", s, t, w, s / w, c * 1e6 / s, m / 1024, "-", "-" }'
    for p in 0 $counts; do
        rm -rf "$out"
        mkdir -p "$out"
        # Process count 0 stands for the distributed exploration on one process.
        always=()
        [ "$p" -eq 0 ] && always=(GEN_DISTRIBUTED_ALWAYS=1)
        (cd "$out" && env ${always[@]+"${always[@]}"} GEN_DISTRIBUTED_STATS=1 "$measure" measure.txt mpirun --oversubscribe \
            --mca mpi_yield_when_idle 1 -np "$((p > 0 ? p : 1))" "$build/gen-polling" -P./ -Nrun "-B$((n - 2))" \
            ${binary[@]+"${binary[@]}"} >stdout.txt 2>stderr.txt) || true
        read -r status wall cpu rss <"$out/measure.txt"
        if [ "$status" -ne 0 ]; then
            echo "$n P=$p: exit status $status: $(grep -m1 -v '^process' "$out/stderr.txt")"
            continue
        fi
        grep '^process' "$out/stderr.txt" | awk -v n="$n" -v p="$p" -v s="$states" -v t="$transitions" \
            -v w="$wall" '{
                cpu += $8; if ($12 > peak) peak = $12; sent += $16
            } END {
                label = "dist1"
                if (p > 0) label = "P=" p
                printf "%-4d %-6s %11d %12d %8.1f %9.0f %11.2f %13.0f %11.1f %11.1f\n",
                    n, label, s, t, w, s / w, cpu * 1e6 / s, peak / 1024, sent / s, sent / t }'
    done
done
rm -rf "$out"
