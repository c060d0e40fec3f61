#!/usr/bin/env bash
# Pictures of the four pages of the target board window online against the
# board simulator, under Xvfb, for an R5110 project (every field shown) whose
# board has a fault set. The pictures are written outside the repository.
#
#   tools/screenshot-targetboard.sh [OUT_DIR] [BIN_DIR]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
. "$top/tools/scripts/simulator.sh"
out=${1:-/tmp/kestro-targetboard}
bin=${2:-$top/build/bin}
case "$out" in /*) ;; *) out="$PWD/$out" ;; esac
mkdir -p "$out"

if [ ! -x "$bin/kestro-screenshot-targetboard" ] || [ ! -x "$bin/kestro-boardsim" ]; then
  build=$(dirname "$bin")
  cmake --build "$build" -j2 --target kestro-screenshot-targetboard kestro-boardsim
fi

# A program folder of its own: the simulator is its port 1; the project is
# the one the board holds.
dir=$(mktemp -d)
sim_scratch=$dir
mkdir -p "$dir/Support" "$dir/project"
cp "$bin"/Support/*.txt "$dir/Support/" 2>/dev/null || true
printf 'ADECOR,1\r\n' >"$dir/project/DECOR.pdx"
printf 'DECOR213<=05\r\n' >"$dir/project/DECOR.rev"
printf ':00000001FF\r\n' >"$dir/project/DECOR.hex"
start_simulator "$bin" "$dir/Support/COM1" --pace 9600
echo "Simulated board on $sim_pty"
for line in "fault 26" "set B8176 5" "set B8179 18"; do
  echo "$line: $(sim_command "$line")"
done

xvfb-run -a -s "-screen 0 1024x720x24" \
  env QT_QPA_PLATFORM=xcb "$bin/kestro-screenshot-targetboard" \
  --program-dir "$dir" --out-dir "$out" --project "$dir/project/DECOR.pdx"
ls -l "$out"
