#!/usr/bin/env bash
# Runs the test executables and every model's executable under Valgrind's
# memcheck: any invalid access, use of uninitialised memory or definitely lost
# block fails the script. Each model runs its first experiment twice: plainly,
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
failed=()

# Runs one command under memcheck; its output goes to a log that is shown on failure.
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
        failed+=("$name")
    fi
}

for test in "$build"/tests/test_*; do
    [ -x "$test" ] || continue
    # The tests that start mpirun run natively (mpirun under memcheck is not wanted).
    case $(basename "$test") in test_solver_mpi) continue ;; esac
    check "$(basename "$test")" "$test" --gtest_death_test_style=threadsafe
done

for model in "$build"/gen "$build"/gen-*; do
    [ -x "$model" ] || continue
    name=$(basename "$model")
    case $name in gen-solve | gen-compile | gen-study | *-sim) continue ;; esac
    mkdir -p "$scratch/$name"
    check "$name" "$model" "-P$scratch/$name/" -Nplain -B0
    check "$name-traced" "$model" "-P$scratch/$name/" -Ntraced -B0 -a -l4 "-t$scratch/$name/trace"
    # The solver on the files just written (with a .det file, by the regenerative
    # solver).
    if [ -x "$build/gen-solve" ]; then
        check "gen-solve-$name" "$build/gen-solve" "-P$scratch/$name/" -Nplain --steady \
            --format json --plot "$scratch/$name/plain.svg"
    fi
done

# gen-study on two of the shipped model's experiments, two at a time (the runs of gen
# that it starts are not traced; gen itself is checked above).
if [ -x "$build/gen-study" ]; then
    check gen-study "$build/gen-study" -e 0-1 -j 2 --steady --format json "$build/gen"
fi

# The simulator of the shipped model and of a model with deterministic delays, a few
# replications each on two worker processes.
for sim in "$build/gen-sim" "$build/gen-timer-sim"; do
    [ -x "$sim" ] || continue
    check "$(basename "$sim")" "$sim" -B0 --replications 20 --threads 2 --seed 7
done

if [ ${#failed[@]} -gt 0 ]; then
    echo "memcheck failed: ${failed[*]}" >&2
    exit 1
fi
echo "memcheck clean"
