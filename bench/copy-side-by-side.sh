#!/usr/bin/env bash
# copy-side-by-side.sh: times Velmo's transfer service (bench/transfer, velmo-copy)
# against cp in the same rounds of the shared anchors script: a tree of 20,000
# small files (group copy-small) and one 1 GiB file (group copy-1g).
#
#   bench/copy-side-by-side.sh [-n ROUNDS]
#
# VELMO_COPY names the program (default: build/bin/velmo-copy, as `make build`
# leaves it). copy-small runs first: on ext4 creating many files soon after
# deleting many is several times slower (see the anchors.sh header), so do not
# run this twice within a few minutes. Each velmo run copies into a fresh folder
# under $SCRATCH; the copies are deleted only after all rounds.
#
# copy-1g: the anchors' cp deletes its previous copy before each run, untimed,
# which a command added with -x cannot do. Keeping gigabytes of earlier copies
# in the page cache makes the next run pay for reclaiming it (measured: 0.3 s
# becomes 1.4 s), so velmo-copy is compared with "cp -a, kept": cp into a fresh
# folder exactly like velmo-copy, in the same rounds. Needs about 4 GiB of disk
# per round.
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
ANCHORS=$ROOT/../shared/bench/anchors.sh
export VELMO_COPY=${VELMO_COPY:-$ROOT/build/bin/velmo-copy}
[ -x "$VELMO_COPY" ] || { echo "no $VELMO_COPY: run 'make build' or set VELMO_COPY" >&2; exit 1; }
[ -x "$ANCHORS" ] || { echo "no $ANCHORS" >&2; exit 1; }

BENCH=${BENCH:-${TMPDIR:-/tmp}/velmo-bench}
export BENCH
cleanup() { rm -rf "$BENCH"/scratch/vb-*; }
trap cleanup EXIT

fresh='d="$SCRATCH/cs-$(date +%s%N)"; mkdir "$d"'
big='d="$SCRATCH/vb-$(date +%s%N)"; mkdir "$d"'
"$ANCHORS" -g copy-small,copy-1g "$@" \
  -x "copy-small|velmo-copy|$fresh; \"\$VELMO_COPY\" \"\$SMALL\" \"\$d\"" \
  -x "copy-small|velmo-copy; sync|$fresh; \"\$VELMO_COPY\" \"\$SMALL\" \"\$d\"; sync" \
  -x "copy-1g|cp -a, kept|$big; cp -a \"\$BIG/big.bin\" \"\$d/\"" \
  -x "copy-1g|cp -a, kept; sync|$big; cp -a \"\$BIG/big.bin\" \"\$d/\"; sync" \
  -x "copy-1g|velmo-copy|$big; \"\$VELMO_COPY\" \"\$BIG/big.bin\" \"\$d\"" \
  -x "copy-1g|velmo-copy; sync|$big; \"\$VELMO_COPY\" \"\$BIG/big.bin\" \"\$d\"; sync"
