#!/usr/bin/env bash
# The binary row form written by several processes: under mpirun on each
# number of processes given, a model's executable with --binary-rows writes one
# part per process and no .arm; its other files and its standard output are the
# bytes of a one-process run with --binary-rows, every part holds fewer rows
# than the one-process part, and gen-solve --binary-rows on the parts prints
# what gen-solve prints on the text files of a run without the option; on one
# process, the distributed exploration writes a part of the one-process part's
# size that gen-solve reads alike. The
# solver's own tests hold its values to closed forms and dense solutions.
#
#   binary-parts.sh <mpiexec> <executable> <gen-solve> "<options>" <processes>...
set -euo pipefail
mpiexec=$1 exe=$2 solver=$3 options=$4
shift 4
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
# In a sanitizer build, the leak check would report the MPI library's own blocks.
export ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0
scratch=$(mktemp -d)
# Open MPI's session folders go under a base of this run's own: under the one
# in /tmp that every run shares, two runs that ctest starts side by side can
# remove it under each other ("mkdir ... No such file or directory").
sessions=$(mktemp -d)
export OMPI_MCA_orte_tmpdir_base=$sessions
trap 'rm -rf "$scratch" "$sessions"' EXIT

fail() {
    echo "FAIL: $* ($exe $options)" >&2
    exit 1
}

# run <folder> <extra option> <launcher...>: the executable in <folder>, output in <folder>.lines.
run() {
    local folder=$scratch/$1 extra=$2
    shift 2
    mkdir -p "$folder"
    # shellcheck disable=SC2086
    (cd "$folder" && "$@" "$exe" -P./ -Nrun $options $extra) >"$folder.out" 2>"$folder.err" ||
        { cat "$folder.err" >&2; fail "$* ended with status $?"; }
    grep -v '^Computation Time' "$folder.out" >"$folder.lines"
}

# solve <folder> <option>: gen-solve's output on the run in <folder>.
solve() {
    (cd "$scratch/$1" && "$solver" --format csv --steady $2 run) ||
        fail "gen-solve $2 on $1 ended with status $?"
}

run text "" env
solve text "" >"$scratch/text.solved"
run one --binary-rows env
files=$(cd "$scratch/one" && ls | grep -v '\.rows\.')
oneRows=$(stat -c %s "$scratch/one/run.rows.0")

# The distributed exploration on one process writes the one-process part's
# entries (rows and records may interleave otherwise), each once.
run dist1 --binary-rows env GEN_DISTRIBUTED_ALWAYS=1
[ "$(stat -c %s "$scratch/dist1/run.rows.0")" -eq "$oneRows" ] ||
    fail "the distributed exploration on one process writes a part of another size"
solve dist1 --binary-rows | diff "$scratch/text.solved" - >&2 ||
    fail "gen-solve on the part of the distributed exploration on one process differs"

for p in "$@"; do
    run "p$p" --binary-rows "$mpiexec" --oversubscribe -np "$p"
    parts=$(for ((k = 0; k < p; ++k)); do echo "run.rows.$k"; done)
    [ "$(ls "$scratch/p$p")" = "$(printf '%s\n' $files $parts | sort)" ] ||
        fail "other files at $p processes: $(ls "$scratch/p$p")"
    for file in $files; do
        cmp "$scratch/one/$file" "$scratch/p$p/$file" || fail "$file differs at $p processes"
    done
    diff "$scratch/one.lines" "$scratch/p$p.lines" >&2 || fail "standard output differs at $p processes"
    for part in $parts; do
        [ "$(stat -c %s "$scratch/p$p/$part")" -lt "$oneRows" ] ||
            fail "$part at $p processes is as large as the whole one-process part"
    done
    solve "p$p" --binary-rows >"$scratch/p$p.solved"
    diff "$scratch/text.solved" "$scratch/p$p.solved" >&2 ||
        fail "gen-solve on the parts of $p processes differs from the text files"
done
echo "binary parts of $* processes solve as the text files: $exe $options"
