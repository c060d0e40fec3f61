#!/usr/bin/env bash
# Builds into build/ (programs in build/bin): the targets named, else
# everything. Configures only when build/ is not configured yet, so a second
# run rebuilds only what changed. KESTRO_CMAKE_ARGS are added to that first
# configure (CI passes -DKESTRO_WERROR=ON).
set -euo pipefail
top=$(cd "$(dirname "$0")/../.." && pwd)
build="$top/build"
"$top/tools/scripts/install-deps.sh"
export CCACHE_BASEDIR="$top"
if [ ! -f "$build/CMakeCache.txt" ]; then
  launcher=()
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  # shellcheck disable=SC2086
  cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" \
    ${KESTRO_CMAKE_ARGS:-} >/dev/null
fi
targets=()
for t in "$@"; do targets+=(--target "$t"); done
cmake --build "$build" -j"$(nproc)" "${targets[@]}"
