#!/usr/bin/env bash
# Installs with apt-get what building and testing gen need and a fresh Debian 12
# machine may lack: cmake, g++, make and GoogleTest; with --fuzz also clang and its
# libFuzzer runtime (for scripts/fuzz.sh), with --valgrind also valgrind (for
# scripts/valgrind.sh), with --mpi also Open MPI (for the exploration and
# the solve over several processes, see docs/distributed.md). Does nothing when all are there.
set -euo pipefail

need=()
command -v cmake >/dev/null 2>&1 || need+=(cmake)
command -v g++ >/dev/null 2>&1 || need+=(g++)
command -v make >/dev/null 2>&1 || need+=(make)
[ -f /usr/include/gtest/gtest.h ] || need+=(libgtest-dev)
for option in "$@"; do
    case $option in
    --fuzz)
        command -v clang++ >/dev/null 2>&1 || need+=(clang)
        dpkg-query -W -f='${Status}' libclang-rt-14-dev 2>/dev/null | grep -q 'ok installed' ||
            need+=(libclang-rt-14-dev)
        ;;
    --valgrind) command -v valgrind >/dev/null 2>&1 || need+=(valgrind) ;;
    --mpi)
        [ -f /usr/lib/x86_64-linux-gnu/openmpi/include/mpi.h ] || [ -f /usr/include/mpi.h ] ||
            need+=(libopenmpi-dev)
        command -v mpirun >/dev/null 2>&1 || need+=(openmpi-bin)
        ;;
    esac
done
[ ${#need[@]} -eq 0 ] && exit 0

sudo=()
if [ "$(id -u)" -ne 0 ]; then
    if command -v sudo >/dev/null 2>&1; then
        sudo=(sudo)
    else
        echo "Missing packages: ${need[*]} (install them with apt-get as root)" >&2
        exit 1
    fi
fi
echo "Installing: ${need[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq "${need[@]}"
