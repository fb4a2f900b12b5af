# shellcheck shell=bash
# Shared by the benchmark scripts, which source it: the source tree, the help
# text, refusing a bad command line, and the Release build with the measuring
# helper.

# The source tree: the folder above bench/.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# usage <line>: prints the calling script's header comment from line 2 to
# <line> and exits with status 2.
usage() {
    sed -n "2,${1}p" "$0" | sed 's/^# \{0,1\}//'
    exit 2
}

# refuse <message>: prints the message on standard error and exits with status 2.
refuse() {
    echo "$1" >&2
    exit 2
}

# build_release <build> <jobs> [<configure option> ...] -- <target> ...:
# configures <build> in Release and builds the targets quietly, then compiles
# the measuring helper bench/measure.cpp into <build>/bench-measure where it is
# missing or older than its source. Sets measure to the helper's path.
build_release() {
    local build=$1 jobs=$2
    shift 2
    local options=()
    while [ "$1" != -- ]; do
        options+=("$1")
        shift
    done
    shift
    echo "Building Release in $build ..."
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release ${options[@]+"${options[@]}"} >/dev/null
    cmake --build "$build" -j "$jobs" --target "$@" >/dev/null
    measure=$build/bench-measure
    if [ ! -x "$measure" ] || [ "$root/bench/measure.cpp" -nt "$measure" ]; then
        "${CXX:-c++}" -O2 -std=c++20 -Wall -Wextra -o "$measure" "$root/bench/measure.cpp"
    fi
}

# replication_options <replications> <line> [<argument> ...]: reads the options
# -r replications, -j jobs and -b build of the simulator's benchmarks into reps,
# jobs and build (defaults <replications>, 2 and build-release/); prints the
# usage (header lines 2 to <line>) on any other, and refuses fewer than 2
# replications.
replication_options() {
    reps=$1
    local line=$2
    shift 2
    jobs=2
    build=$root/build-release
    local opt OPTIND=1
    while getopts "r:j:b:h" opt; do
        case $opt in
        r) reps=$OPTARG ;;
        j) jobs=$OPTARG ;;
        b) build=$OPTARG ;;
        *) usage "$line" ;;
        esac
    done
    if ! [[ $reps =~ ^[0-9]+$ ]] || [ "$reps" -lt 2 ]; then
        refuse "$(basename "$0"): the replications must be a whole number of at least 2, not '$reps'"
    fi
}
