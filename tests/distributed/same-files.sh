#!/usr/bin/env bash
# Runs a model's executable on one process, then under mpirun on each number
# of processes given, and fails unless every result file and the standard
# output (but the processor-time line) are the same bytes as the one-process
# run's, also with each level explored in small batches. The one-process
# exploration is the reference: its own tests hold its counts and files to
# hand-derived values.
#
#   same-files.sh <mpiexec> <executable> "<options>" <processes>...
set -euo pipefail
mpiexec=$1 exe=$2 options=$3
shift 3
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

# run <folder> <launcher...>: the executable in <folder>, files there, output in <folder>.out.
run() {
    local folder=$scratch/$1
    shift
    mkdir -p "$folder"
    # shellcheck disable=SC2086
    (cd "$folder" && "$@" "$exe" -P./ -Nrun $options) >"$folder.out" 2>"$folder.err" || {
        echo "FAIL: $* $exe $options ended with status $?" >&2
        cat "$folder.err" >&2
        exit 1
    }
    grep -v '^Computation Time' "$folder.out" >"$folder.lines"
}

run one env
files=$(cd "$scratch/one" && ls)
# same <folder> <what>: the run in <folder> wrote the one-process files and output.
same() {
    for file in $files; do
        cmp "$scratch/one/$file" "$scratch/$1/$file" || {
            echo "FAIL: $file differs at $2 ($exe $options)" >&2
            exit 1
        }
    done
    [ "$(ls "$scratch/$1")" = "$files" ] || {
        echo "FAIL: other files at $2: $(ls "$scratch/$1")" >&2
        exit 1
    }
    diff "$scratch/one.lines" "$scratch/$1.lines" >&2 || {
        echo "FAIL: standard output differs at $2 ($exe $options)" >&2
        exit 1
    }
}
for p in "$@"; do
    run "p$p" "$mpiexec" --oversubscribe -np "$p"
    same "p$p" "$p processes"
    # Levels explored in batches of one or two states per process.
    if [ "$p" -eq 2 ] || [ "$p" -eq 3 ]; then
        run "b$p" env GEN_DISTRIBUTED_BATCH=$((p - 1)) "$mpiexec" --oversubscribe -np "$p"
        same "b$p" "$p processes in batches of $((p - 1)) states per process"
    fi
done
echo "same files and output on 1 and $* processes, and in batches: $exe $options ($files)"
