#!/usr/bin/env bash
# Sort, filter and refresh figures on the flat 100,000-file folder.
#   bench/sort-side-by-side.sh [ROUNDS]
set -euo pipefail
cd "$(dirname "$0")/.."
export BENCH=${BENCH:-${TMPDIR:-/tmp}/velmo-bench}
[ -d "$BENCH/flat100k-mt" ] || ../shared/bench/make-tree.sh "$BENCH/flat100k-mt" 100000 flat > "$BENCH/flat100k-mt.info"
make build >/dev/null
build/bin/velmo-sort --rounds "${1:-5}" "$BENCH/flat100k-mt"
