#!/usr/bin/env bash
# pane-actions-side-by-side.sh: the pane's paste and trash, end to end through
# its store with the program's services and a running event loop, beside the
# system's own tools on the same files.
#
#   bench/pane-actions-side-by-side.sh [-n ROUNDS]
#
# paste: the shared anchors' copy-small group (20,000 small files), with
# "velmo paste" (velmo-pane-actions paste) in the same rounds as cp -a. Each
# paste also logs how late a 5 ms timer on the main thread ran (p99 and worst)
# to $BENCH/results/paste-latency.log. Run it first after large deletions (see
# the anchors' header on ext4's inode allocator).
#
# trash: 10,000 empty files, moved to the trash by the pane (then undone, which
# restores them) and by `gio trash`, alternating, ROUNDS times each. Uses the
# real home trash, and empties what it put there.
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
ANCHORS=$ROOT/../shared/bench/anchors.sh
TOOL=${VELMO_PANE_ACTIONS:-$ROOT/build/bin/velmo-pane-actions}
[ -x "$TOOL" ] || { echo "no $TOOL: run 'make build'" >&2; exit 1; }
ROUNDS=5
while getopts "n:" o; do case $o in n) ROUNDS=$OPTARG ;; *) exit 2 ;; esac; done
BENCH=${BENCH:-${TMPDIR:-/tmp}/velmo-bench}
export BENCH VELMO_PANE_ACTIONS=$TOOL
mkdir -p "$BENCH/results" "$BENCH/scratch"
LOG=$BENCH/results/paste-latency.log
: > "$LOG"

fresh='d="$SCRATCH/cs-$(date +%s%N)"; mkdir "$d"'
"$ANCHORS" -n "$ROUNDS" -g copy-small \
  -x "copy-small|velmo paste|$fresh; \"\$VELMO_PANE_ACTIONS\" paste \"\$SMALL\" \"\$d\" >> \"$LOG\""
echo "main-thread lateness during each paste (ms):"
grep probe "$LOG" | sed 's/^/  /'

TRASH=${XDG_DATA_HOME:-$HOME/.local/share}/Trash
work=$BENCH/scratch/trash-bench
make_files() { rm -rf "$work"; mkdir -p "$work"; (cd "$work" && seq -f 'item-%05g' 1 10000 | xargs touch); }
clean_trash() { find "$TRASH/files" "$TRASH/info" -maxdepth 1 -name 'item-*' -delete 2>/dev/null || true; }
echo "trash of 10,000 items (s):"
for round in $(seq 1 "$ROUNDS"); do
  make_files
  velmo=$("$TOOL" trash "$work")
  make_files
  start=$EPOCHREALTIME
  (cd "$work" && ls | xargs gio trash)
  gio=$(echo "$EPOCHREALTIME - $start" | bc)
  clean_trash
  echo "  round $round: velmo ${velmo}; gio trash ${gio}"
done
rm -rf "$work"
