#!/usr/bin/env bash
# Branch coverage of src/ and tools/ by the whole test suite, with gcovr.
# Builds into build-coverage/ (-DKESTRO_COVERAGE=ON; the mutation run shares
# it), runs every test from zeroed counters and prints the summary; a report
# per file goes to build-coverage/coverage.txt.
set -euo pipefail
top=$(cd "$(dirname "$0")/../.." && pwd)
build="${KESTRO_COVERAGE_DIR:-$top/build-coverage}"
"$top/tools/scripts/install-deps.sh"
export CCACHE_BASEDIR="$top"
if [ ! -f "$build/CMakeCache.txt" ]; then
  launcher=()
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  cmake -S "$top" -B "$build" -DKESTRO_COVERAGE=ON -DKESTRO_BUILD_BENCH=OFF "${launcher[@]}" >/dev/null
fi
nice -n 19 cmake --build "$build" -j"$(nproc)"
find "$build" -name '*.gcda' -delete
(cd "$build" && QT_QPA_PLATFORM=offscreen nice -n 19 ctest -j2 --output-on-failure "$@") || true
# Branches the compiler adds for exceptions and that it proves unreachable are
# not decisions of this code.
cd "$top"
gcovr -r "$top" "$build" --filter 'src/' --filter 'tools/' --exclude '.*_autogen/.*' \
  --exclude-throw-branches --exclude-unreachable-branches \
  --branches --txt "$build/coverage.txt" --print-summary -j2 2>/dev/null |
  grep -E '^(lines|functions|branches):'
