#!/usr/bin/env bash
# Runs the shared scan anchors (du, gdu, ncdu, the limit walker) with velmo-scan measured in
# the same rounds, then the figures the scanner is held to: velmo-scan against the two-thread
# limit walker and against du (medians of per-round ratios), and the peak memory of a scan
# that also builds the final tree. Build first: cmake --build build --target velmo-scan
#   bench/scan-side-by-side.sh [BUILD_DIR] [anchors.sh options...]
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$repo/build}
[ $# -gt 0 ] && shift
scanner=$build/bin/velmo-scan
[ -x "$scanner" ] || { echo "missing $scanner: build the velmo-scan target first" >&2; exit 1; }
results=${BENCH:-${TMPDIR:-/tmp}/velmo-bench}/results
before=$(ls -t "$results"/anchors-*.raw.tsv 2>/dev/null | head -1 || true)
echo "# load before: $(cut -d' ' -f1-3 /proc/loadavg)"
"$repo/../shared/bench/anchors.sh" -g scan -x "scan|velmo-scan|\"$scanner\" \"\$TREE\"" \
  -x "scan|velmo-scan --tree|\"$scanner\" --tree \"\$TREE\"" "$@"
echo "# load after: $(cut -d' ' -f1-3 /proc/loadavg)"
raw=$(ls -t "$results"/anchors-*.raw.tsv | head -1)
[ "$raw" != "$before" ] || { echo "no new results in $results" >&2; exit 1; }
awk -F'\t' '
function median(a, n,   i, j, t) { for (i = 2; i <= n; i++) { t = a[i]; for (j = i - 1; j >= 1 && a[j] > t; j--) a[j+1] = a[j]; a[j+1] = t }
  return n % 2 ? a[(n+1)/2] : (a[n/2] + a[n/2+1]) / 2 }
NR > 1 && $1 == "scan" && $3 != "warmup" { w[$2, $3] = $4; m[$2, $3] = $7; r[$3] = 1 }
END {
  for (k in r) { if (w["velmo-scan", k] > 0 && w["lw-2t", k] > 0) a[++na] = w["velmo-scan", k] / w["lw-2t", k]
                 if (w["velmo-scan", k] > 0 && w["du", k] > 0) b[++nb] = w["velmo-scan", k] / w["du", k]
                 if (m["velmo-scan --tree", k] > 0) c[++nc] = m["velmo-scan --tree", k] / 1024 }
  printf "velmo-scan / lw-2t        %.3f  (target at most 1.2)\n", median(a, na)
  printf "velmo-scan / du           %.3f  (target at most 0.6)\n", median(b, nb)
  printf "velmo-scan --tree peak    %.0f MiB = %.0f MB  (target at most 600 MB)\n", median(c, nc), median(c, nc) * 1.048576
}' "$raw"
