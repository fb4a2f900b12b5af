#!/usr/bin/env bash
# Benchmark of the generator: the polling model against its hand-written floor,
# and the kanban model.
#
#   bench/run.sh [-r runs] [-j jobs] [-k] [-v] [-p "N ..."] [-K "N ..."]
#                [-b baseline-build] [-L] [-S] [N ...]
#
# Builds a Release tree in build-release/ (gen-polling, gen-kanban, the floor
# polling-floor and a small measuring helper), then runs each model once per
# repetition for each N with all result files written, and prints one table
# row per model and N with the median of the repetitions (default 5 runs).
# For polling, the floor runs as many times in the same session, its .arm is
# compared with gen's byte for byte (a difference is reported in the row), and
# the ratio is gen's wall time over the floor's. The load average is printed
# with every row: other jobs on the machine move wall times. The figures are
# printed, never judged: a slow run does not make this script fail. A run that
# ends with a non-zero status is reported with its status and the first line
# of its error output.
#
#   -r runs    repetitions per N (default 5)
#   -j jobs    parallel build jobs (default 2)
#   -k         keep the result files of the last repetition in build-release/bench-out/
#   -v         also print the figures of every single repetition
#   -p "N ..." polling sizes (default "14 16 18"; also given as plain arguments)
#   -K "N ..." kanban sizes, 1 .. 6 (default "4 5"; "" for none)
#   -b dir     a build folder of another version (e.g. the baseline) with
#              gen-polling and gen-kanban: its median wall time is shown as
#              "before" and the speed-up as before / wall
#   -L         afterwards run bench/large.sh (long runs past the old state limits), if present
#   -S         afterwards run bench/solve.sh (the solver's benchmark), if present
set -euo pipefail
# shellcheck source=bench/common.sh
source "$(dirname "$0")/common.sh"

runs=5
jobs=2
keep=0
verbose=0
polling=""
kanban="4 5"
before=""
large=0
solve=0
while getopts "r:j:kvp:K:b:LSh" opt; do
    case $opt in
    r) runs=$OPTARG ;;
    j) jobs=$OPTARG ;;
    k) keep=1 ;;
    v) verbose=1 ;;
    p) polling=$OPTARG ;;
    K) kanban=$OPTARG ;;
    b) before=$(cd "$OPTARG" && pwd) ;;
    L) large=1 ;;
    S) solve=1 ;;
    *) usage 31 ;;
    esac
done
shift $((OPTIND - 1))
[[ $runs =~ ^[1-9][0-9]*$ ]] || refuse "bench/run.sh: the number of runs must be a positive integer, not '$runs'"
read -r -a pollingSizes <<<"$polling $*"
[ ${#pollingSizes[@]} -gt 0 ] || [ -n "$polling" ] || pollingSizes=(14 16 18)
read -r -a kanbanSizes <<<"$kanban"
for n in "${pollingSizes[@]}"; do
    if ! [[ $n =~ ^[0-9]+$ ]] || [ "$n" -lt 2 ]; then
        refuse "bench/run.sh: polling N must be an integer of at least 2, not '$n'"
    fi
done
for n in "${kanbanSizes[@]}"; do
    [[ $n =~ ^[1-6]$ ]] || refuse "bench/run.sh: kanban N must be 1 .. 6, not '$n'"
done
if [ -n "$before" ]; then
    for exe in gen-polling gen-kanban; do
        [ -x "$before/$exe" ] || echo "bench/run.sh: $before/$exe is missing: no 'before' figure for it" >&2
    done
fi

build=$root/build-release
out=$build/bench-out

build_release "$build" "$jobs" -DGEN_BUILD_TESTS=OFF -- gen-polling gen-kanban polling-floor

# median <values...>: the middle value (the mean of the two middle ones for an even count).
median() {
    printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 }
        END { if (NR % 2) print v[(NR + 1) / 2]; else print (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}

# timed <dir> <label> <command...>: runs the command `runs` times in <dir>;
# sets status, wall, cpu and rss (medians) from the repetitions.
timed() {
    local dir=$1 label=$2
    shift 2
    local walls=() cpus=() rsss=() r w c m
    status=0
    for ((r = 1; r <= runs; r++)); do
        "$measure" "$dir/measure.txt" "$@" >"$dir/stdout.txt" 2>"$dir/stderr.txt"
        read -r status w c m <"$dir/measure.txt"
        walls+=("$w") cpus+=("$c") rsss+=("$m")
        [ "$verbose" -eq 1 ] && echo "  $label run $r: status $status, wall $w s, cpu $c s, peak $((m / 1024)) MiB"
        [ "$status" -eq 0 ] || break
    done
    wall=$(median "${walls[@]}")
    cpu=$(median "${cpus[@]}")
    rss=$(median "${rsss[@]}")
}

load() { cut -d' ' -f1 /proc/loadavg; }

echo "$runs run(s) per row, medians shown; machine: $(nproc) cores, $(uname -m)"
printf '%-8s %3s %11s %12s %8s %8s %9s %8s %9s %8s %8s %6s\n' \
    model N states transitions wall_s cpu_s peak_MiB floor_s gen/floor before_s speedup load

# row <model> <n> <exe> <name> <args...>: times gen (and the floor, the
# baseline) and prints the row.
row() {
    local model=$1 n=$2 exe=$3
    shift 3
    local dir=$out/$model-N$n
    rm -rf "$dir"
    mkdir -p "$dir"
    local loadBefore states=- transitions=- floorWall=- ratio=- beforeWall=- speedup=- note=""
    loadBefore=$(load)
    timed "$dir" "$model N=$n" "$build/$exe" -P"$dir/" -Nrun "$@"
    local genStatus=$status genWall=$wall genCpu=$cpu genRss=$rss
    if [ "$genStatus" -ne 0 ]; then
        printf '%-8s %3d %11s %12s %8.3f %8.3f %9.1f  exit status %d\n' "$model" "$n" - - \
            "$genWall" "$genCpu" "$(awk -v m="$genRss" 'BEGIN { print m / 1024 }')" "$genStatus"
        echo "         $(head -n 1 "$dir/stderr.txt")"
        [ "$keep" -eq 1 ] || rm -rf "$dir"
        return
    fi
    states=$(sed -n 2p "$dir/run.arm")
    local lines
    lines=$(wc -l <"$dir/run.arm")
    transitions=$(((lines - 3 - 2 * states) / 2))
    if [ "$model" = polling ]; then
        timed "$dir" "floor N=$n" "$build/polling-floor" "$n" "$dir/floor.arm"
        if [ "$status" -eq 0 ]; then
            floorWall=$wall
            ratio=$(awk -v g="$genWall" -v f="$floorWall" 'BEGIN { printf "%.2f", g / f }')
            cmp -s "$dir/floor.arm" "$dir/run.arm" || note="  (the floor's .arm differs from gen's!)"
        else
            note="  (the floor failed: status $status)"
        fi
        rm -f "$dir/floor.arm"
    fi
    if [ -n "$before" ] && [ -x "$before/$exe" ]; then
        mkdir -p "$dir/before"
        timed "$dir/before" "before N=$n" "$before/$exe" -P"$dir/before/" -Nrun "$@"
        if [ "$status" -eq 0 ]; then
            beforeWall=$wall
            speedup=$(awk -v b="$beforeWall" -v g="$genWall" 'BEGIN { printf "%.2f", b / g }')
            cmp -s "$dir/before/run.arm" "$dir/run.arm" && cmp -s "$dir/before/run.var" "$dir/run.var" ||
                note="$note  (the files differ from before!)"
        fi
        rm -rf "$dir/before"
    fi
    awk -v model="$model" -v n="$n" -v s="$states" -v t="$transitions" -v w="$genWall" -v c="$genCpu" \
        -v m="$genRss" -v f="$floorWall" -v r="$ratio" -v b="$beforeWall" -v u="$speedup" \
        -v l="$loadBefore-$(load)" -v note="$note" 'BEGIN {
        printf "%-8s %3d %11d %12d %8.3f %8.3f %9.1f %8s %9s %8s %8s %6s%s\n",
            model, n, s, t, w, c, m / 1024, f, r, b, u, l, note }'
    [ "$keep" -eq 1 ] || rm -rf "$dir"
}

for n in "${pollingSizes[@]}"; do
    if [ "$n" -le 20 ]; then
        row polling "$n" gen-polling -B$((n - 2))
    else
        row polling "$n" gen-polling -B0 -O "i:N:$n"
    fi
done
for n in "${kanbanSizes[@]}"; do
    row kanban "$n" gen-kanban -B$((n - 1))
done

# follow <script>: runs the benchmark bench/<script> after a blank line, if it is there.
follow() {
    if [ -x "$root/bench/$1" ]; then
        echo
        "$root/bench/$1"
    else
        echo "bench/run.sh: bench/$1 is not there (yet)" >&2
    fi
}

if [ "$large" -eq 1 ]; then
    follow large.sh
fi
if [ "$solve" -eq 1 ]; then
    follow solve.sh
fi
