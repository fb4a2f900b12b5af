#!/usr/bin/env bash
# Benchmark of the generator on the polling model.
#
#   bench/run.sh [-r runs] [-j jobs] [-k] [-v] [N ...]
#
# Builds a Release tree in build-release/ (only gen-polling and a small
# measuring helper), then runs gen-polling once per repetition for each N
# (default: 14 16 18) with all result files written, and prints one table row
# per N with the median of the repetitions (default 5 runs). The figures are
# printed, never judged: a slow run does not make this script fail. A run that
# ends with a non-zero status is reported in the table with its status and the
# first line of its error output.
#
#   -r runs   repetitions per N (default 5)
#   -j jobs   parallel build jobs (default 2)
#   -k        keep the result files of the last repetition in build-release/bench-out/
#   -v        also print the figures of every single repetition
set -euo pipefail

runs=5
jobs=2
keep=0
verbose=0
while getopts "r:j:kvh" opt; do
    case $opt in
    r) runs=$OPTARG ;;
    j) jobs=$OPTARG ;;
    k) keep=1 ;;
    v) verbose=1 ;;
    *)
        sed -n '2,18p' "$0" | sed 's/^# \{0,1\}//'
        exit 2
        ;;
    esac
done
shift $((OPTIND - 1))
if ! [[ $runs =~ ^[1-9][0-9]*$ ]]; then
    echo "bench/run.sh: the number of runs must be a positive integer, not '$runs'" >&2
    exit 2
fi
sizes=("$@")
[ ${#sizes[@]} -gt 0 ] || sizes=(14 16 18)
for n in "${sizes[@]}"; do
    if ! [[ $n =~ ^[0-9]+$ ]] || [ "$n" -lt 2 ]; then
        echo "bench/run.sh: N must be an integer of at least 2, not '$n'" >&2
        exit 2
    fi
done

root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build-release
out=$build/bench-out

echo "Building Release in $build ..."
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DGEN_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j "$jobs" --target gen-polling >/dev/null
measure=$build/bench-measure
if [ ! -x "$measure" ] || [ "$root/bench/measure.cpp" -nt "$measure" ]; then
    "${CXX:-c++}" -O2 -std=c++20 -Wall -Wextra -o "$measure" "$root/bench/measure.cpp"
fi
exe=$build/gen-polling

# median <values...>: the middle value (the mean of the two middle ones for an even count).
median() {
    printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 }
        END { if (NR % 2) print v[(NR + 1) / 2]; else print (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}

echo "gen-polling, $runs run(s) per N, median shown; machine: $(nproc) cores, $(uname -m)"
printf '%4s %12s %13s %9s %9s %12s %14s %10s %12s %10s\n' \
    N states transitions wall_s cpu_s states/s transitions/s peak_MiB bytes/state arm_MiB
for n in "${sizes[@]}"; do
    dir=$out/N$n
    rm -rf "$dir"
    mkdir -p "$dir"
    if [ "$n" -le 20 ]; then
        args=(-P"$dir/" -Npolling -B$((n - 2)))
    else
        args=(-P"$dir/" -Npolling -B0 -O "i:N:$n")
    fi
    walls=() cpus=() rsss=()
    status=0 states=- transitions=- armBytes=0
    for ((r = 1; r <= runs; r++)); do
        rm -f "$dir"/polling.*
        "$measure" "$dir/measure.txt" "$exe" "${args[@]}" >"$dir/stdout.txt" 2>"$dir/stderr.txt"
        read -r status wall cpu rss <"$dir/measure.txt"
        walls+=("$wall") cpus+=("$cpu") rsss+=("$rss")
        [ "$verbose" -eq 1 ] && echo "  N=$n run $r: status $status, wall $wall s, cpu $cpu s, peak $((rss / 1024)) MiB"
        [ "$status" -eq 0 ] || break
    done
    if [ "$status" -eq 0 ] && [ -f "$dir/polling.arm" ]; then
        states=$(sed -n 2p "$dir/polling.arm")
        lines=$(wc -l <"$dir/polling.arm")
        transitions=$(((lines - 3 - 2 * states) / 2))
        armBytes=$(stat -c %s "$dir/polling.arm")
    fi
    wall=$(median "${walls[@]}")
    cpu=$(median "${cpus[@]}")
    rss=$(median "${rsss[@]}")
    if [ "$status" -eq 0 ]; then
        awk -v n="$n" -v s="$states" -v t="$transitions" -v w="$wall" -v c="$cpu" -v m="$rss" -v a="$armBytes" 'BEGIN {
            printf "%4d %12d %13d %9.3f %9.3f %12.0f %14.0f %10.1f %12.1f %10.1f\n",
                n, s, t, w, c, s / w, t / w, m / 1024, m * 1024 / s, a / 1048576 }'
    else
        awk -v n="$n" -v w="$wall" -v c="$cpu" -v m="$rss" -v st="$status" 'BEGIN {
            printf "%4d %12s %13s %9.3f %9.3f %12s %14s %10.1f %12s %10s  exit status %d\n",
                n, "-", "-", w, c, "-", "-", m / 1024, "-", "-", st }'
        echo "     $(head -n 1 "$dir/stderr.txt")"
    fi
    [ "$keep" -eq 1 ] || rm -rf "$dir"
done
