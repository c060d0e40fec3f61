#!/usr/bin/env bash
# Installs what is missing, builds, and starts KESTRO. When no real board is
# configured as port 1, the board simulator stands in for it.
set -euo pipefail
top=$(cd "$(dirname "$0")" && pwd)
# Only the programs: the tests are test.sh's business.
"$top/tools/scripts/build.sh" kestro kestro-cli kestro-boardsim kestro-historyfill
bin="$top/build/bin"

if [ -x "$bin/kestro" ] && [ -f "$top/tools/run-kestro.sh" ]; then
  exec bash "$top/tools/run-kestro.sh" "$bin" "$@"
fi

# No window program yet: show the command-line tool reading the simulator.
link="$bin/Support/COM1"
if [ -e "$link" ] || [ -L "$link" ]; then
  exec "$bin/kestro-cli" --port 1 read B52 W98 W112 D1100 D1304
fi
coproc SIM { "$bin/kestro-boardsim" --link "$link" --pace 9600; }
trap 'echo quit >&"${SIM[1]}" 2>/dev/null || true; wait "$SIM_PID" 2>/dev/null || true' EXIT
read -r pty <&"${SIM[0]}"
echo "Simulated board on $pty (port 1)"
for address in B52 W98 W112 D1100 D1304; do
  printf '%-6s %s\n' "$address" "$("$bin/kestro-cli" --port 1 read "$address")"
done
