#!/usr/bin/env bash
# Pictures of the real program under Xvfb, driven with keys as an operator
# drives it, against the board simulator:
#   title.png      a set-up opened with Ctrl+O, then the Set-Up window chosen
#                  from the Window menu; the window's title (there is no
#                  window manager to draw it) is printed above the picture
#   faults-0.png   View > Target Board Interface (F5) with no fault
#   faults-45.png  the same window after the board raised fault 45H
#
#   tools/screenshot-screens.sh OUT_DIR [BIN_DIR]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
. "$top/tools/scripts/simulator.sh"
out=${1:?output folder}
bin=${2:-$top/build/bin}
mkdir -p "$out"
out=$(cd "$out" && pwd)

dir=$(mktemp -d)
sim_scratch=$dir
cp "$bin/kestro" "$dir/"
mkdir -p "$dir/Support"
cp "$bin"/Support/*.txt "$dir/Support/" 2>/dev/null || true
cp "$bin/samples/SAMPLE.sdt" "$dir/line3.sdt"
start_simulator "$bin" "$dir/Support/COM1" --pace 9600 --frozen
for a in B8176 B8177 B8178 B8179; do sim_command "set $a 0" >/dev/null; done

export dir out
xvfb-run -a -s "-screen 0 1280x1024x24" env QT_QPA_PLATFORM=xcb bash -c '
  "$dir/kestro" & pid=$!
  win=$(xdotool search --sync --onlyvisible --name "^KESTRO - " | head -1)
  sleep 1
  key() { xdotool windowfocus --sync "$1" key --window "$1" "${@:2}"; sleep 1; }
  key "$win" F3
  key "$win" ctrl+o
  dlg=$(xdotool search --sync --onlyvisible --name "Open|KESTRO$" | grep -v "^$win$" | head -1)
  xdotool windowfocus --sync "$dlg" type "$dir/line3.sdt"
  key "$dlg" Return
  key "$win" alt+w 2
  title=$(xdotool getwindowname "$win")
  import -window root "$out/title-raw.png"
  convert "$out/title-raw.png" -crop 1000x700+0+0 +repage -background "#333" -fill white \
    -gravity north -splice 0x30 -font DejaVu-Sans -pointsize 18 -annotate +0+5 "Window title: $title" "$out/title.png"
  rm -f "$out/title-raw.png"
  echo "title: $title"
  key "$win" alt+w 1
  key "$win" F5
  fb=$(xdotool search --sync --onlyvisible --name "^Open$" | head -1)
  key "$fb" Escape
  sleep 4
  xdotool search --onlyvisible --name "." getwindowname %@ >&2
  import -window root "$out/faults-0.png"
  echo go > "$dir/raise"
  while [ -e "$dir/raise" ]; do sleep 0.2; done
  sleep 4
  import -window root "$out/faults-45.png"
  kill "$pid"
' &
xpid=$!
# The fault is raised from here, where the simulator is reachable.
while [ ! -e "$dir/raise" ]; do
  kill -0 "$xpid" 2>/dev/null || break
  sleep 0.2
done
if [ -e "$dir/raise" ]; then
  sim_command "set B8176 69" >/dev/null
  sim_command "set B8177 69" >/dev/null
  rm -f "$dir/raise"
fi
wait "$xpid"
echo "Pictures in $out"
