#!/usr/bin/env bash
# Failures and refusals of the exploration over several MPI processes: each
# must end the run with the message and the status of a one-process run (the
# one-process run's message is the reference), and leave no .arm file whose
# header holds a count.
#
#   failures.sh <mpiexec> <build folder>
set -uo pipefail
mpiexec=$1 build=$2
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
failed=0

fail() {
    echo "FAIL: $*" >&2
    failed=1
}

# runs <folder> <launcher...> -- <executable and options>: status in $status,
# standard output and error together in <folder>.out.
runs() {
    local folder=$scratch/$1
    shift
    mkdir -p "$folder"
    (cd "$folder" && "$@") >"$folder.out" 2>&1
    status=$?
}

# An .arm file is complete when its second line holds the count.
armComplete() {
    [ -f "$1" ] && sed -n 2p "$1" | grep -q '[0-9]'
}

# expect_like_one <name> <processes> <executable> <options...>: the run fails
# on one process; on <processes> it must fail with the same status and every
# line the one process printed after "SSG:" (its error report), and leave no
# complete .arm.
expect_like_one() {
    local name=$1 p=$2
    shift 2
    runs "$name-one" "$@"
    local one=$status
    [ "$one" -ne 0 ] || fail "$name: the one-process run succeeds"
    runs "$name-p$p" "$mpiexec" --oversubscribe -np "$p" "$@"
    [ "$status" -eq "$one" ] || fail "$name: status $status at $p processes, $one on one"
    sed '1,/^SSG:/d' "$scratch/$name-one.out" | grep -v '^_\$' >"$scratch/$name.expected"
    while IFS= read -r line; do
        grep -qxF -- "$line" "$scratch/$name-p$p.out" ||
            fail "$name: '$line' missing at $p processes"
    done <"$scratch/$name.expected"
    [ -s "$scratch/$name.expected" ] || fail "$name: the one-process run reports nothing"
    for arm in "$scratch/$name-p$p"/*.arm; do
        [ -e "$arm" ] || continue
        armComplete "$arm" && fail "$name: $arm looks complete"
    done
}

loop=$build/tests/distributed/gen-loop
# A model error (an instantaneous loop) in the state after Bad - 1: the state
# before it is explored by whichever process owns it, so several values of Bad
# reach processes other than the first.
for bad in 3 4 5 6 7; do
    expect_like_one "loop$bad" 2 "$loop" -P./ -Nrun -B0 "-Oi:Bad:$bad"
    expect_like_one "loop$bad" 3 "$loop" -P./ -Nrun -B0 "-Oi:Bad:$bad"
done

# Which process reported each loop: some must be other than the first.
others=0
for bad in 3 4 5 6 7; do
    runs "tagged$bad" "$mpiexec" --oversubscribe --tag-output -np 3 "$loop" -P./ -Nrun -B0 \
        "-Oi:Bad:$bad"
    grep -q '^\[[0-9]*,[12]\]<std[a-z]*>:Error:  Maximum number' "$scratch/tagged$bad.out" &&
        others=$((others + 1))
done
[ "$others" -gt 0 ] || fail "no model error was reported by a process other than the first"

# The binary row form: a model error leaves no part with a completion mark
# ("DONE" at byte 40), and a deterministic model is refused as on one process.
partComplete() {
    [ "$(od -An -c -j40 -N4 "$1" | tr -d ' ')" = "DONE" ]
}
for bad in 4 6; do
    expect_like_one "loopbin$bad" 2 "$loop" -P./ -Nrun -B0 "-Oi:Bad:$bad" --binary-rows
    for part in "$scratch/loopbin$bad-p2"/run.rows.*; do
        [ -e "$part" ] || continue
        partComplete "$part" && fail "loopbin$bad: $part looks complete"
    done
done
expect_like_one binary-det 2 "$build/gen-timer" -P./ -Nrun -B0 --binary-rows

# An output folder that does not exist.
expect_like_one vanished 3 "$build/gen-kanban" -P./gone/ -Nrun -B0

# The trace is refused: one line naming it, status 1.
runs refused-trace "$mpiexec" --oversubscribe -np 2 "$build/gen-kanban" -P./ -Nrun -B0 -l1
[ "$status" -eq 1 ] && grep -q "the trace (-l, -t) is not available" "$scratch/refused-trace.out" ||
    fail "the trace is not refused"

# A process killed during the exploration: the run fails and the .arm has no count.
runs killed true
(cd "$scratch/killed" && exec "$mpiexec" --oversubscribe -np 3 "$build/gen-polling" -P./ -Nrun \
    -B14 >../killed.out 2>&1) &
launcher=$!
victim=""
for _ in $(seq 100); do
    sleep 0.1
    grep -q '_\$3000\$' "$scratch/killed.out" 2>/dev/null || continue
    victim=$(pgrep -P "$launcher" -f gen-polling | sort -n | tail -1)
    [ -n "$victim" ] && break
done
if [ -n "$victim" ]; then
    kill -KILL "$victim"
    wait "$launcher"
    status=$?
    [ "$status" -ne 0 ] || fail "killed: status 0"
    armComplete "$scratch/killed/run.arm" && fail "killed: the .arm looks complete"
else
    wait "$launcher"
    fail "killed: no process to kill found"
fi

[ "$failed" -eq 0 ] && echo "failures end every run like one process"
exit "$failed"
