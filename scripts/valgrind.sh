#!/usr/bin/env bash
# Runs the test executables and every model's executable under Valgrind's
# memcheck, one check per core at a time: any invalid access, use of
# uninitialised memory or definitely lost block fails the script. Each model runs its first experiment twice: plainly,
# and with the absorbing-state report and the full trace written to a file;
# gen-solve then solves the plain run's files. gen-study and two simulators run
# on small cases.
#
#   scripts/valgrind.sh [build folder, default build]
#
# The build folder is configured and built first (Release, as scripts/test.sh
# builds it). The executables that tests start through the shell run natively,
# and so do the children of death tests: they are started afresh (the
# "threadsafe" style) rather than forked, because a child that ends the process
# on purpose, without unwinding, leaves blocks that memcheck would count as lost.
# Tests that need an address-space limit skip themselves under Valgrind.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
jobs=$(nproc 2>/dev/null || echo 2)

bash scripts/install-deps.sh --valgrind

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DGEN_WERROR=ON >/dev/null
cmake --build "$build" -j "$jobs"

memcheck=(valgrind --tool=memcheck --quiet --error-exitcode=99 --leak-check=full
    --errors-for-leak-kinds=definite --show-leak-kinds=definite --track-origins=yes)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Runs one command under memcheck; its output goes to a log that is shown on
# failure, and a failure leaves <name>.failed in the scratch folder.
check() {
    local name=$1
    shift
    local log="$scratch/$name.log"
    local started=$SECONDS
    if "${memcheck[@]}" "$@" >"$log" 2>&1; then
        echo "ok    $name ($((SECONDS - started)) s)"
    else
        echo "FAIL  $name (status $?)"
        tail -n 40 "$log"
        touch "$scratch/$name.failed"
    fi
}

# Runs a command (a check, or a function of several in order) in the background,
# at most one per core at a time: memcheck runs a program on one core, and the
# checks do not depend on one another.
running=0
spawn() {
    "$@" &
    running=$((running + 1))
    if [ "$running" -ge "$jobs" ]; then
        wait -n || true
        running=$((running - 1))
    fi
}

# The solver's methods take as long under memcheck as all the other tests
# together: they run first, in two shards.
for shard in 0 1; do
    [ -x "$build/tests/test_solver_methods" ] || continue
    GTEST_TOTAL_SHARDS=2 GTEST_SHARD_INDEX=$shard spawn check "test_solver_methods-$shard" \
        "$build/tests/test_solver_methods" --gtest_death_test_style=threadsafe
done
for test in "$build"/tests/test_*; do
    [ -x "$test" ] || continue
    # The tests that start mpirun run natively (mpirun under memcheck is not wanted).
    case $(basename "$test") in test_solver_mpi | test_solver_methods) continue ;; esac
    spawn check "$(basename "$test")" "$test" --gtest_death_test_style=threadsafe
done

# A model's two runs, then the solver on the files the plain run wrote (with a
# .det file, by the regenerative solver).
checkModel() {
    local model=$1 name
    name=$(basename "$model")
    mkdir -p "$scratch/$name"
    check "$name" "$model" "-P$scratch/$name/" -Nplain -B0
    check "$name-traced" "$model" "-P$scratch/$name/" -Ntraced -B0 -a -l4 "-t$scratch/$name/trace"
    if [ -x "$build/gen-solve" ]; then
        check "gen-solve-$name" "$build/gen-solve" "-P$scratch/$name/" -Nplain --steady \
            --format json --plot "$scratch/$name/plain.svg"
    fi
}

for model in "$build"/gen "$build"/gen-*; do
    [ -x "$model" ] || continue
    case $(basename "$model") in gen-solve | gen-compile | gen-study | *-sim) continue ;; esac
    spawn checkModel "$model"
done

# gen-study on two of the shipped model's experiments, two at a time (the runs of gen
# that it starts are not traced; gen itself is checked above).
if [ -x "$build/gen-study" ]; then
    spawn check gen-study "$build/gen-study" -e 0-1 -j 2 --steady --format json "$build/gen"
fi

# The simulator of the shipped model and of a model with deterministic delays, a few
# replications each on two worker processes.
for sim in "$build/gen-sim" "$build/gen-timer-sim"; do
    [ -x "$sim" ] || continue
    spawn check "$(basename "$sim")" "$sim" -B0 --replications 20 --threads 2 --seed 7
done
wait

failed=()
for mark in "$scratch"/*.failed; do
    [ -e "$mark" ] || continue
    name=$(basename "$mark")
    failed+=("${name%.failed}")
done
if [ ${#failed[@]} -gt 0 ]; then
    echo "memcheck failed: ${failed[*]}" >&2
    exit 1
fi
echo "memcheck clean"
