#!/usr/bin/env bash
# Listing a flat folder of 100,000 files: Velmo's listing service beside `ls -la -U`
# and the bare walker, in the same rounds, then Velmo's start-up to a picture.
#
#   bench/list-side-by-side.sh [ROUNDS]
set -euo pipefail
cd "$(dirname "$0")/.."
ROUNDS=${1:-5}
export BENCH=${BENCH:-${TMPDIR:-/tmp}/velmo-bench}
make build >/dev/null
ANCHORS=../shared/bench/anchors.sh
"$ANCHORS" -n "$ROUNDS" -g list -r list='ls -la -U' \
  -x "list|velmo-list|$PWD/build/bin/velmo-list \"\$FLAT\"" \
  -x "list|velmo-screenshot|QT_QPA_PLATFORM=offscreen $PWD/build/bin/velmo --screenshot \$SCRATCH/shot.png \"\$FLAT\""
echo "# in-process listing time and heap (median of $ROUNDS):"
build/bin/velmo-list --rounds "$ROUNDS" "$BENCH/flat100k-mt"
