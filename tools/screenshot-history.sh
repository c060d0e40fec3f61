#!/usr/bin/env bash
# Fills a history file with three weeks of made-up production and takes a
# picture of each chart and table of the History window under Xvfb.
#
#   tools/screenshot-history.sh [OUTDIR] [BIN_DIR]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
out=${1:-/tmp/kestro-history}
bin=${2:-$top/build/bin}
case "$out" in /*) ;; *) out="$PWD/$out" ;; esac
if [ ! -x "$bin/kestro-screenshot-history" ] || [ ! -x "$bin/kestro-historyfill" ]; then
  cmake --build "$(dirname "$bin")" -j"$(nproc)" --target kestro-screenshot-history kestro-historyfill
fi
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
"$bin/kestro-historyfill" "$scratch/history.sqlite" --weeks 3 --end 2026-11-23
xvfb-run -a -s "-screen 0 1280x800x24" \
  env QT_QPA_PLATFORM=xcb "$bin/kestro-screenshot-history" "$scratch/history.sqlite" "$out"
echo "Pictures in $out"
