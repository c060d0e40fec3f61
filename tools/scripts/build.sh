#!/usr/bin/env bash
# Configures and builds everything into build/ (programs in build/bin).
set -euo pipefail
top=$(cd "$(dirname "$0")/../.." && pwd)
"$top/tools/scripts/install-deps.sh"
cmake -S "$top" -B "$top/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$top/build" -j"$(nproc)"
