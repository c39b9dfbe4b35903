#!/usr/bin/env bash
# inline-tree.sh: unfolding a folder of 10,000 items in a pane's list (Right) and
# folding it again (Left), from the key press to the painted list, with the
# listing included. The folder sits among 200 sibling folders.
#
#   bench/inline-tree.sh [-n ROUNDS]
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
TOOL=${VELMO_INLINE_TREE:-$ROOT/build/bin/velmo-inline-tree}
[ -x "$TOOL" ] || { echo "no $TOOL: run 'make build'" >&2; exit 1; }
ROUNDS=9
while getopts "n:" o; do case $o in n) ROUNDS=$OPTARG ;; *) exit 2 ;; esac; done
BENCH=${BENCH:-${TMPDIR:-/tmp}/velmo-bench}
tree=$BENCH/scratch/tree10k
if [ ! -d "$tree/big" ] || [ "$(ls "$tree/big" | wc -l)" -ne 10000 ]; then
  rm -rf "$tree"
  mkdir -p "$tree/big"
  (cd "$tree" && seq -f 'd%03g' 1 200 | xargs mkdir)
  (cd "$tree/big" && seq -f 'item-%05g.txt' 1 10000 | xargs touch)
fi
# One warm-up listing, so every round reads from the cache.
ls -f "$tree/big" > /dev/null
"$TOOL" "$tree" big "$ROUNDS" 2> /dev/null
