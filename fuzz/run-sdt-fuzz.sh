#!/bin/sh
# Builds the set-up file reader's fuzz target with clang in its own build
# folder and runs it for the given number of seconds.
#   fuzz/run-sdt-fuzz.sh SECONDS [extra libFuzzer options...]
# KESTRO_FUZZ_BUILD overrides the build folder (default: build-fuzz beside
# the sources). Crashing inputs land in <build>/artifacts/.
set -eu

if [ $# -lt 1 ]; then
    echo "usage: $0 SECONDS [libFuzzer options...]" >&2
    exit 2
fi
seconds=$1
shift

here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
build=${KESTRO_FUZZ_BUILD:-$root/build-fuzz}

cmake -S "$here" -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target sdt_fuzz -j2

# Work on a copy of the seeds so the checked-in corpus stays small.
mkdir -p "$build/corpus" "$build/artifacts"
cp "$here"/corpus/* "$build/corpus/"

exec "$build/sdt_fuzz" -max_total_time="$seconds" -max_len=4096 \
    -artifact_prefix="$build/artifacts/" -print_final_stats=1 "$@" "$build/corpus"
