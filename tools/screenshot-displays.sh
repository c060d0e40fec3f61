#!/usr/bin/env bash
# Pictures of the four operator windows online against the board simulator,
# under Xvfb, one per window (Main Display, Set-Up, Shift Data, I/O Status).
# The pictures are written outside the repository.
#
#   tools/screenshot-displays.sh [OUT_DIR] [BIN_DIR]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
out=${1:-/tmp/kestro-displays}
bin=${2:-$top/build/bin}
mkdir -p "$out"
names=(main setup data io)
for window in 0 1 2 3; do
  bash "$top/tools/screenshot-main.sh" "$out/${names[$window]}.png" "$bin" "$window"
done
ls -l "$out"
