#!/usr/bin/env bash
# Pictures, under Xvfb, of what the operator sees when registers of an upload
# are not read and when the reads of a live value fail.
#
#   tools/screenshot-trust.sh [OUT_DIR] [BIN_DIR]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
. "$top/tools/scripts/simulator.sh"
outdir=${1:-/tmp}
bin=${2:-$top/build/bin}
case "$outdir" in /*) ;; *) outdir="$PWD/$outdir" ;; esac

if [ ! -x "$bin/kestro-screenshot-trust" ] || [ ! -x "$bin/kestro-boardsim" ]; then
  build=$(dirname "$bin")
  cmake --build "$build" -j"$(nproc)" --target kestro-screenshot-trust kestro-boardsim
fi

dir=$(mktemp -d)
sim_scratch=$dir
mkdir -p "$dir/Support"
cp "$bin"/Support/*.txt "$dir/Support/" 2>/dev/null || true
start_simulator "$bin" "$dir/Support/COM1"
sim_command "set W1096 77" >/dev/null

for c in upload stale; do
  xvfb-run -a -s "-screen 0 1024x720x24" \
    env QT_QPA_PLATFORM=xcb "$bin/kestro-screenshot-trust" \
    --program-dir "$dir" --out "$outdir/trust-$c" --case "$c"
done
