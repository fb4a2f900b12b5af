#!/usr/bin/env bash
# Builds the libFuzzer harnesses with clang (under AddressSanitizer and
# UndefinedBehaviorSanitizer) and fuzzes each parser for a bounded time, starting
# from the seed corpus in fuzz/corpus. Any crash, sanitizer report, leak or hang
# fails the script; the input that caused it is left in build-fuzz/findings/.
#
#   scripts/fuzz.sh [seconds per harness, default 30]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
jobs=$(nproc 2>/dev/null || echo 2)
build=build-fuzz

bash scripts/install-deps.sh --fuzz

CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DGEN_FUZZ=ON -DGEN_SANITIZE=ON -DGEN_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j "$jobs" --target fuzz_commandline fuzz_override fuzz_solverfiles fuzz_detfiles \
    fuzz_rowparts fuzz_model fuzz_study fuzz_simcommandline

status=0
for harness in commandline override solverfiles detfiles rowparts model study simcommandline; do
    # New inputs go to a scratch corpus; the seeds in the tree stay as they are.
    work="$build/corpus/$harness"
    findings="$build/findings/$harness/"
    mkdir -p "$work" "$findings"
    # Model files are longer than command lines and override strings.
    max_len=512
    [ "$harness" = model ] && max_len=4096
    [ "$harness" = detfiles ] && max_len=1024
    [ "$harness" = rowparts ] && max_len=1024
    echo "== fuzzing $harness for ${seconds}s"
    if ! "$build/fuzz/fuzz_$harness" "$work" "fuzz/corpus/$harness" \
        -dict="fuzz/$harness.dict" -max_total_time="$seconds" -timeout=10 \
        -rss_limit_mb=2048 -max_len="$max_len" -artifact_prefix="$findings" \
        -print_final_stats=1 2>"$build/fuzz-$harness.log"; then
        tail -n 60 "$build/fuzz-$harness.log"
        echo "fuzz_$harness failed; reproducer in $findings" >&2
        status=1
    else
        grep -E '^(stat::number_of_executed_units|stat::new_units_added)' \
            "$build/fuzz-$harness.log" || true
    fi
done
exit $status
