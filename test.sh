#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite.
set -euo pipefail
top=$(cd "$(dirname "$0")" && pwd)
"$top/tools/scripts/build.sh"
cd "$top/build"
QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j2 "$@"
