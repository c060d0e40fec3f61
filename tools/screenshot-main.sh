#!/usr/bin/env bash
# Takes a picture of the main window online against the board simulator,
# under Xvfb. The picture is written outside the repository.
#
#   tools/screenshot-main.sh [OUT.png] [BIN_DIR] [WINDOW 0..3]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
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
mkdir -p "$dir/Support"
cp "$bin"/Support/*.txt "$dir/Support/" 2>/dev/null || true
coproc SIM { exec "$bin/kestro-boardsim" --link "$dir/Support/COM1" --pace 9600; }
sim_pid=$SIM_PID
cleanup() {
  echo quit >&"${SIM[1]}" 2>/dev/null || kill "$sim_pid" 2>/dev/null || true
  wait "$sim_pid" 2>/dev/null || true
  rm -rf "$dir"
}
trap cleanup EXIT
read -r pty <&"${SIM[0]}"
echo "Simulated board on $pty"

xvfb-run -a -s "-screen 0 1024x720x24" \
  env QT_QPA_PLATFORM=xcb "$bin/kestro-screenshot-main" \
  --program-dir "$dir" --out "$out" --window "$window"
echo "Screenshot: $out"
