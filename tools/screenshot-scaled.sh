#!/usr/bin/env bash
# Takes a picture of the real program, started as a user starts it, on a
# 1280x1024 screen under Xvfb at a Qt scale factor, online against the board
# simulator. Prints the window's size in screen pixels. The picture is
# written outside the repository unless named.
#
#   tools/screenshot-scaled.sh SCALE [OUT.png] [BIN_DIR]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
. "$top/tools/scripts/simulator.sh"
scale=${1:?scale factor, e.g. 1.5}
out=${2:-/tmp/kestro-scale-$scale.png}
bin=${3:-$top/build/bin}
case "$out" in /*) ;; *) out="$PWD/$out" ;; esac

# The program finds Support/ beside itself: a folder of its own, with the
# simulator as its port 1.
dir=$(mktemp -d)
sim_scratch=$dir
cp "$bin/kestro" "$dir/"
mkdir -p "$dir/Support"
cp "$bin"/Support/*.txt "$dir/Support/" 2>/dev/null || true
start_simulator "$bin" "$dir/Support/COM1" --pace 9600

xvfb-run -a -s "-screen 0 1280x1024x24" env QT_QPA_PLATFORM=xcb QT_SCALE_FACTOR="$scale" \
  bash -c '
    "$1/kestro" & pid=$!
    win=$(xdotool search --sync --onlyvisible --name "^KESTRO - " | head -1)
    sleep 1
    xdotool windowfocus --sync "$win" key --window "$win" F3
    sleep 5
    xwininfo -id "$win" | grep -E "Width|Height|Absolute"
    import -window root "$2"
    kill "$pid"
  ' _ "$dir" "$out"
echo "Screenshot: $out"
