#!/usr/bin/env bash
# Builds and runs the whole test suite: a warnings-as-errors Release build, then
# the same suite under AddressSanitizer and UndefinedBehaviorSanitizer. Installs
# missing build tools and GoogleTest first.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc 2>/dev/null || echo 2)

bash scripts/install-deps.sh

cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DGEN_WERROR=ON >/dev/null
cmake --build build -j "$jobs"
ctest --test-dir build --output-on-failure -j "$jobs"

cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DGEN_WERROR=ON -DGEN_SANITIZE=ON >/dev/null
cmake --build build-asan -j "$jobs"
ctest --test-dir build-asan --output-on-failure -j "$jobs"
