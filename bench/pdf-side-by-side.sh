#!/usr/bin/env bash
# PDF compression side by side: velmo-pdf-compress (the processor, default profile) against
# `gs -sDEVICE=pdfwrite -dPDFSETTINGS=/ebook` and `qpdf --object-streams=generate
# --compress-streams=y` on LaTeX manuals, all three in the same rounds. Prints per file the
# sizes, the median times, and whether Velmo's result is at most the smaller of the two.
# Build first (Release): cmake --build build-rel --target velmo-pdf-compress
#   bench/pdf-side-by-side.sh [BUILD_DIR] [ROUNDS] [PDF...]
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$repo/build-rel}
rounds=${2:-3}
shift $(( $# > 2 ? 2 : $# ))
velmo=$build/bin/velmo-pdf-compress
[ -x "$velmo" ] || { echo "missing $velmo: build the velmo-pdf-compress target first" >&2; exit 1; }
for tool in gs qpdf; do command -v "$tool" >/dev/null || { echo "missing $tool" >&2; exit 1; }; done
manuals=/usr/share/doc/texlive-doc/latex/base
files=("$@")
if [ ${#files[@]} -eq 0 ]; then
  for name in cfgguide clsguide doc encguide fntguide letter lppl ltnews modguide usrguide; do
    files+=("$manuals/$name.pdf")
  done
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

now() { date +%s%N; }
# Runs "$@" and appends "<label> <file> <ms>" to the timing log.
timed() {
  local label=$1 file=$2; shift 2
  local start end
  start=$(now)
  "$@" >/dev/null 2>&1 || echo "$label failed on $file" >&2
  end=$(now)
  echo "$label $file $(( (end - start) / 1000000 ))" >> "$work/times"
}

echo "# load before: $(cut -d' ' -f1-3 /proc/loadavg)"
for round in $(seq 1 "$rounds"); do
  for file in "${files[@]}"; do
    base=$(basename "$file" .pdf)
    timed gs "$base" gs -q -dNOPAUSE -dBATCH -dSAFER -sDEVICE=pdfwrite -dPDFSETTINGS=/ebook -sOutputFile="$work/$base.gs.pdf" "$file"
    timed qpdf "$base" qpdf --object-streams=generate --compress-streams=y "$file" "$work/$base.qpdf.pdf"
    timed velmo "$base" "$velmo" --out "$work" "$file"
    "$velmo" "$file" | awk -F'\t' -v b="$base" '!/^#/ { print b, $2 }' | tr ' ' '_' | sed 's/_/ /' > "$work/$base.strategy"
  done
done
echo "# load after: $(cut -d' ' -f1-3 /proc/loadavg)"

median() { sort -n | awk '{ a[NR] = $1 } END { print (NR % 2) ? a[(NR + 1) / 2] : int((a[NR / 2] + a[NR / 2 + 1]) / 2) }'; }
size() { stat -c %s "$1"; }
printf '%-10s %9s | %9s %7s | %9s %7s | %9s %7s %-22s | %s\n' file original gs-ebook ms qpdf ms velmo ms strategy "velmo <= min(gs,qpdf)"
larger=0
for file in "${files[@]}"; do
  base=$(basename "$file" .pdf)
  g=$(size "$work/$base.gs.pdf"); q=$(size "$work/$base.qpdf.pdf"); v=$(size "$work/$base.velmo.pdf")
  gt=$(awk -v b="$base" '$1 == "gs" && $2 == b { print $3 }' "$work/times" | median)
  qt=$(awk -v b="$base" '$1 == "qpdf" && $2 == b { print $3 }' "$work/times" | median)
  vt=$(awk -v b="$base" '$1 == "velmo" && $2 == b { print $3 }' "$work/times" | median)
  best=$(( g < q ? g : q ))
  verdict=yes; [ "$v" -le "$best" ] || { verdict="NO ($(( v - best )) bytes over)"; larger=1; }
  strategy=$(cut -d' ' -f2- "$work/$base.strategy" | tr '_' ' ')
  printf '%-10s %9d | %9d %7d | %9d %7d | %9d %7d %-22s | %s\n' "$base" "$(size "$file")" "$g" "$gt" "$q" "$qt" "$v" "$vt" "$strategy" "$verdict"
done
exit $larger
