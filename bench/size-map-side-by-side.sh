#!/usr/bin/env bash
# Opening the size map on the 1,000,000-entry tree, measured against velmo-scan alone in
# the same rounds (warm cache, one untimed warm-up, the order swapped every round):
#   - open: from the session's startScan() to the painted chart of the finished walk (the
#     drawable part the engine sends before building the whole tree) and to the painted
#     chart of the whole tree, as medians of per-round ratios to velmo-scan's wall time,
#     with the split (walk, tree build and hand-over, the finished update, layout, final
#     paint) and the peak memory then
#   - the main thread's work per scan update while the scan runs (update + side list +
#     paint), per window frame and per event: max and 95th percentile
#   - Stop, Rescan and closing the tab during a scan, and Rescan and closing once the
#     finished tree is shown: the main thread's time
# Build first (nothing is built here):
#   cmake --build build --target velmo-scan velmo-size-map-open
#
#   bench/size-map-side-by-side.sh [-n ROUNDS] [-b BUILD_DIR] [-d] [-w]
#     -d  also print where the main thread's time goes (one more run, --diagnose)
#     -w  also open with an engine that sends no drawable part, so the chart waits for
#         the whole tree (velmo-size-map-open --engine whole)
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)
build=$repo/build rounds=5 diagnose=0 whole=0
while getopts "n:b:dw" o; do
  case $o in
    n) rounds=$OPTARG ;; b) build=$OPTARG ;; d) diagnose=1 ;; w) whole=1 ;;
    *) sed -n '2,20p' "$0"; exit 2 ;;
  esac
done
scanner=$build/bin/velmo-scan opener=$build/bin/velmo-size-map-open
for tool in "$scanner" "$opener"; do
  [ -x "$tool" ] || { echo "missing $tool: build velmo-scan and velmo-size-map-open first" >&2; exit 1; }
done
bench=${BENCH:-${TMPDIR:-/tmp}/velmo-bench}
tree=$bench/tree1m
if [ ! -s "$tree.info" ]; then
  mkdir -p "$bench"
  echo "generating $tree (several minutes) ..." >&2
  "$repo/../shared/bench/make-tree.sh" "$tree" 1000000 tree > "$tree.info.tmp" && mv "$tree.info.tmp" "$tree.info"
fi
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

scan() {  # round: wall seconds of velmo-scan alone
  local t0 t1
  t0=$EPOCHREALTIME
  "$scanner" "$tree" > /dev/null
  t1=$EPOCHREALTIME
  awk -v a="$t0" -v b="$t1" 'BEGIN { printf "%.4f\n", b - a }' >> "$out/scan"
}
open_map() {  # round engine: the opener's figures, one "name value" per line
  "$opener" --controls --engine "$2" "$tree" > "$out/$2.$1" 2> "$out/$2.$1.notes" ||
    { echo "velmo-size-map-open failed in round $1:" >&2; cat "$out/$2.$1.notes" >&2; exit 1; }
}
engines=(app)
[ "$whole" = 1 ] && engines+=(whole)

echo "# load before: $(cut -d' ' -f1-3 /proc/loadavg)  nproc=$(nproc)  tree: $(cat "$tree.info")"
"$scanner" "$tree" > /dev/null   # warm-up: the tree's metadata in the cache
for ((r = 1; r <= rounds; r++)); do
  if ((r % 2)); then scan "$r"; for e in "${engines[@]}"; do open_map "$r" "$e"; done
  else for e in "${engines[@]}"; do open_map "$r" "$e"; done; scan "$r"; fi
done
echo "# load after: $(cut -d' ' -f1-3 /proc/loadavg)"

for e in "${engines[@]}"; do
  for ((r = 1; r <= rounds; r++)); do sed "s/^/$r /" "$out/$e.$r"; done > "$out/$e.all"
  awk -v engine="$e" -v rounds="$rounds" '
  function median(a, n,   i, j, t) { for (i = 2; i <= n; i++) { t = a[i]; for (j = i - 1; j >= 1 && a[j] > t; j--) a[j+1] = a[j]; a[j+1] = t }
    return n % 2 ? a[(n+1)/2] : (a[n/2] + a[n/2+1]) / 2 }
  function med(name,   r, a, n) { n = 0; for (r = 1; r <= rounds; r++) if ((r, name) in v) a[++n] = v[r, name]; return n ? median(a, n) : -1 }
  function pct(name, p,   a, n, i, k) { n = pooled[name]; if (!n) return -1; for (i = 1; i <= n; i++) a[i] = pool[name, i]
    median(a, n); k = int(p * n + 0.999999); if (k < 1) k = 1; if (k > n) k = n; return a[k] }
  function most(name,   r, m) { m = -1; for (r = 1; r <= rounds; r++) if ((r, name) in v && v[r, name] > m) m = v[r, name]; return m }
  FILENAME ~ /scan$/ { s[FNR] = $1 * 1000; next }
  $2 == "cycles_ms" || $2 == "window_frames_ms" || $2 == "turns_ms" || $2 == "chart_paints_ms" { for (i = 3; i <= NF; i++) pool[$2, ++pooled[$2]] = $i; next }
  { v[$1, $2] = $3 }
  END {
    for (r = 1; r <= rounds; r++) { ratio[r] = v[r, "open_ms"] / s[r]; walkRatio[r] = v[r, "open_ms"] / v[r, "walk_ms"]
      shown = ((r, "preview_open_ms") in v) ? v[r, "preview_open_ms"] : v[r, "open_ms"]
      printf "round %d  velmo-scan %7.0f ms   finished chart %7.0f ms (ratio %.2f)   whole tree %7.0f ms (ratio %.2f)   peak %4.0f MiB\n", r, s[r], shown, shown / s[r], v[r, "open_ms"], ratio[r], v[r, "peak_mib"] }
    for (r = 1; r <= rounds; r++) sc[r] = s[r]
    printf "\n== engine: %s (medians of %d rounds)\n", engine, rounds
    printf "velmo-scan alone                 %7.0f ms\n", median(sc, rounds)
    if (med("preview_open_ms") >= 0) {
      for (r = 1; r <= rounds; r++) { previewRatio[r] = v[r, "preview_open_ms"] / s[r]; previewWalkRatio[r] = v[r, "preview_open_ms"] / v[r, "walk_ms"] }
      printf "finished chart painted           %7.0f ms   ratio %.2f (target at most 1.3); to its own walk %.2f\n", med("preview_open_ms"), median(previewRatio, rounds), median(previewWalkRatio, rounds)
      printf "  drawable part built + handed   %7.0f ms   after the walk (%d records; segments differing from the whole tree'"'"'s %d, item counts differing %d)\n", med("preview_build_ms"), med("preview_nodes"), most("preview_segments_differing"), most("preview_item_counts_differing")
    }
    printf "whole tree painted               %7.0f ms   ratio %.2f; to its own walk %.2f\n", med("open_ms"), median(ratio, rounds), median(walkRatio, rounds)
    printf "  walk                           %7.0f ms   (scan start %.1f ms)\n", med("walk_ms"), med("start_ms")
    printf "  tree build + hand-over         %7.0f ms\n", med("build_ms")
    printf "  finished update (main thread)  %7.1f ms\n", med("finished_turn_ms")
    printf "  layout (pool)                  %7.1f ms\n", med("layout_ms")
    printf "  landing + final paint          %7.1f ms   (chart alone %.1f ms; %d segments of %d records)\n", med("paint_ms"), med("final_chart_paint_ms"), med("segments"), med("nodes")
    printf "peak memory at the open          %7.0f MiB = %.0f MB (max %.0f MiB; target at most 600 MB)\n", med("peak_mib"), med("peak_mib") * 1.048576, most("peak_mib")
    printf "main thread while scanning       max      p95   (all rounds pooled; target at most 16 ms)\n"
    printf "  per scan update                %7.1f  %7.1f ms   (%d updates)\n", pct("cycles_ms", 1), pct("cycles_ms", 0.95), pooled["cycles_ms"]
    printf "  per window frame               %7.1f  %7.1f ms   (%d frames)\n", pct("window_frames_ms", 1), pct("window_frames_ms", 0.95), pooled["window_frames_ms"]
    printf "  per event                      %7.1f  %7.1f ms   (%d events)\n", pct("turns_ms", 1), pct("turns_ms", 0.95), pooled["turns_ms"]
    printf "  chart paint                    %7.1f  %7.1f ms   (%d paints)\n", pct("chart_paints_ms", 1), pct("chart_paints_ms", 0.95), pooled["chart_paints_ms"]
    printf "controls during a scan           Stop %.2f ms   Rescan %.2f ms   close %.2f ms (+ %.2f ms deleting later)\n", med("stop_ms"), med("rescan_ms"), med("close_ms"), med("close_deferred_ms")
    printf "with the finished tree shown     Rescan %.0f ms   close %.2f ms (+ %.0f ms deleting later)\n", med("rescan_after_open_ms"), med("close_after_open_ms"), med("close_after_open_deferred_ms")
  }' "$out/scan" "$out/$e.all"
  grep -h '^# heavy' "$out/$e."[0-9]*.notes | sort -t: -k2,2 -rn | head -3 || true
done

if [ "$diagnose" = 1 ]; then
  echo
  echo "== where the main thread's time goes with the finished tree shown (medians of 15)"
  "$opener" --diagnose "$tree" 2> /dev/null | grep '^diag_' | sed 's/^diag_/  /'
fi
