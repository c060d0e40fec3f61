#!/usr/bin/env bash
# Takes a picture of the main window online against the board simulator,
# under Xvfb. The picture is written outside the repository.
#
#   tools/screenshot-main.sh [OUT.png] [BIN_DIR] [WINDOW 0..3]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
. "$top/tools/scripts/simulator.sh"
out=${1:-/tmp/kestro-main.png}
bin=${2:-$top/build/bin}
window=${3:-0}
case "$out" in /*) ;; *) out="$PWD/$out" ;; esac

if [ ! -x "$bin/kestro-screenshot-main" ] || [ ! -x "$bin/kestro-boardsim" ]; then
  build=$(dirname "$bin")
  cmake --build "$build" -j"$(nproc)" --target kestro-screenshot-main kestro-boardsim
fi

# A program folder of its own: the simulator is its port 1.
dir=$(mktemp -d)
sim_scratch=$dir
mkdir -p "$dir/Support"
cp "$bin"/Support/*.txt "$dir/Support/" 2>/dev/null || true
start_simulator "$bin" "$dir/Support/COM1" --pace 9600
echo "Simulated board on $sim_pty"

xvfb-run -a -s "-screen 0 1024x720x24" \
  env QT_QPA_PLATFORM=xcb "$bin/kestro-screenshot-main" \
  --program-dir "$dir" --out "$out" --window "$window"
echo "Screenshot: $out"
