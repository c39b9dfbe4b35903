#!/usr/bin/env bash
# Runs the shared name and content search anchors (find, fdfind, plocate, rg, grep) with
# velmo-search measured in the same rounds, then the figures the search is held to: the walk
# alone against fdfind -u -i on the 1,000,000-entry tree (query "zebra") and a content search
# against rg -i -F on the text corpus (query "quokka"), as medians of per-round ratios.
# Build first: cmake --build build --target velmo-search velmo-search-first
#   bench/search-side-by-side.sh [BUILD_DIR] [anchors.sh options...]
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$repo/build}
[ $# -gt 0 ] && shift
search=$build/bin/velmo-search
[ -x "$search" ] || { echo "missing $search: build the velmo-search target first" >&2; exit 1; }
results=${BENCH:-${TMPDIR:-/tmp}/velmo-bench}/results
before=$(ls -t "$results"/anchors-*.raw.tsv 2>/dev/null | head -1 || true)
echo "# load before: $(cut -d' ' -f1-3 /proc/loadavg)"
"$repo/../shared/bench/anchors.sh" -g name,content \
  -x "name|velmo-search|\"$search\" --name --walk-only \"\$TREE\" zebra" \
  -x "content|velmo-search|\"$search\" --content --walk-only \"\$TEXT\" quokka" "$@"
echo "# load after: $(cut -d' ' -f1-3 /proc/loadavg)"
raw=$(ls -t "$results"/anchors-*.raw.tsv | head -1)
[ "$raw" != "$before" ] || { echo "no new results in $results" >&2; exit 1; }
awk -F'\t' '
function median(a, n,   i, j, t) { for (i = 2; i <= n; i++) { t = a[i]; for (j = i - 1; j >= 1 && a[j] > t; j--) a[j+1] = a[j]; a[j+1] = t }
  return n % 2 ? a[(n+1)/2] : (a[n/2] + a[n/2+1]) / 2 }
NR > 1 && $3 != "warmup" { w[$1, $2, $3] = $4; r[$3] = 1 }
END {
  for (k in r) { if (w["name", "velmo-search", k] > 0 && w["name", "fdfind -u -i", k] > 0) a[++na] = w["name", "velmo-search", k] / w["name", "fdfind -u -i", k]
                 if (w["content", "velmo-search", k] > 0 && w["content", "rg -i -F", k] > 0) b[++nb] = w["content", "velmo-search", k] / w["content", "rg -i -F", k] }
  printf "velmo-search name / fdfind -u -i   %.3f  (target at most 1.0)\n", median(a, na)
  printf "velmo-search content / rg -i -F    %.3f  (target at most 2.0)\n", median(b, nb)
}' "$raw"
# First result on screen with the index covering the tree (the database the anchors built),
# and from the walk alone. Build: cmake --build build --target velmo-search-first
first=$build/bin/velmo-search-first
db=${BENCH:-${TMPDIR:-/tmp}/velmo-bench}/scratch/tree1m.plocate.db
tree=${BENCH:-${TMPDIR:-/tmp}/velmo-bench}/tree1m
if [ -x "$first" ] && [ -f "$db" ]; then
  printf 'first result painted, indexed      %s ms  (target at most 100)\n' "$("$first" -n 7 --db "$db" "$tree" zebra 2>/dev/null | awk '$1 == "first_paint_ms" { print $2 }')"
  printf 'first result painted, walk only    %s ms\n' "$("$first" -n 7 --walk-only "$tree" zebra 2>/dev/null | awk '$1 == "first_paint_ms" { print $2 }')"
fi
