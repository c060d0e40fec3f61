#!/usr/bin/env bash
# Mutation run over tools/scripts/mutants.txt (see mutate.py for the options).
# At the lowest priority: the machine's cores are shared.
set -euo pipefail
export CCACHE_BASEDIR="$(cd "$(dirname "$0")/../.." && pwd)"
exec nice -n 19 python3 "$(dirname "$0")/mutate.py" "$@"
