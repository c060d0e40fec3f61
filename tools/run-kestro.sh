#!/usr/bin/env bash
# Starts KESTRO from a built bin folder. When the configured port has no
# device of its own, the board simulator stands in for the board: it is
# linked as Support/COMn, paced at the configured speed, and stopped when the
# program exits. A port the technician pointed at a real device is left alone.
#
#   tools/run-kestro.sh [BIN_DIR]      (default: build/bin beside this script)
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
. "$top/tools/scripts/simulator.sh"
bin=$(cd "${1:-$top/build/bin}" && pwd)
shift || true

# Port and speed as the program will read them: "port, speed" in RSPort.cfg.
port=1
speed=9600
cfg="$bin/Support/RSPort.cfg"
if [ -s "$cfg" ]; then
  IFS=, read -r p s _ < "$cfg" || true
  p=${p//[^0-9]/}
  s=${s//[^0-9]/}
  [ -n "$p" ] && port=$((10#$p))
  [ "$port" -lt 1 ] && port=1
  [ "$port" -gt 99 ] && port=99
  [ "$s" = 19200 ] && speed=19200
fi
link="$bin/Support/COM$port"

# A link left behind by a simulator that did not stop cleanly points at a
# pseudo-terminal that is gone: it is ours to remove.
if [ -L "$link" ] && [ ! -e "$link" ]; then
  case "$(readlink "$link")" in
    /dev/pts/*) rm -f "$link" ;;
  esac
fi
if [ -e "$link" ] || [ -L "$link" ]; then
  echo "Port $port is $(readlink -f "$link" 2>/dev/null || echo "$link"): using it as the board."
  exec "$bin/kestro" "$@"
fi

mkdir -p "$bin/Support"
# The demo keeps its own history, filled with three made-up weeks the first
# time, so View > History (F6) has something to show; a real board's
# history is never mixed with it.
export KESTRO_HISTORY="$bin/Support/demo-history.sqlite"
if [ ! -e "$KESTRO_HISTORY" ] && [ -x "$bin/kestro-historyfill" ]; then
  "$bin/kestro-historyfill" "$KESTRO_HISTORY" --weeks 3 >/dev/null
fi
start_simulator "$bin" "$link" --pace "$speed"
trap 'exit 130' INT TERM HUP
echo "Simulated T6800 board on $sim_pty as port $port at $speed baud."
echo "Choose View > Online Data (F3) to go online, View > History (F6) for the history"
echo "(kept in $KESTRO_HISTORY)."
status=0
"$bin/kestro" "$@" || status=$?
exit "$status"
