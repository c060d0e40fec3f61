#!/usr/bin/env bash
# Runs every benchmark against the board simulator and prints their figures:
# the link (upload and download of All at 9600 baud beside the wire-time
# bound, CPU per exchange beside a pyserial client) and the operator windows
# online (CPU, exchanges and paints per second).
#
#   bench/run-all.sh [BIN_DIR] [SECONDS_PER_WINDOW]
# Needs python3 with pyserial (Debian python3-serial, see
# tools/scripts/install-deps.sh); KESTRO_PYTHON names another interpreter.
# Exits non-zero when a figure could not be taken or is faster than the cable.
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
bin=${1:-$top/build/bin}
seconds=${2:-10}
export KESTRO_BIN_DIR=$bin
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}

status=0
echo "== bench_link"
"$bin/bench_link" || status=1
echo
echo "== bench_latency"
"$bin/bench_latency" || status=1
echo "== bench_history"
"$bin/bench_history" || status=1
echo
echo "== bench_displays ($seconds s a window)"
"$bin/bench_displays" "$seconds" || status=1
echo
echo "== fault_matrix"
python3 "$top/bench/fault_matrix.py" "$bin" || status=1
if [ -x "$bin/bench_monitor" ]; then
  echo
  echo "== bench_monitor (60 s)"
  "$bin/bench_monitor" 60 || status=1
fi
exit $status
