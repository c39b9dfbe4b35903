#!/usr/bin/env bash
# velmo-image-compress against cjpeg, cwebp and avifenc on the gnome-backgrounds photographs
# (4096 x 4096 WebP). Each photograph is decoded once to PNG (and PPM for cjpeg, which reads
# no PNG); every tool then reads the same file, decodes it and encodes it, one process per
# file, in the same rounds, alternating which tool goes first. AVIF runs with the encoder
# settings velmo-image-compress reports (speed, threads, quantizer), 4:2:0, full range,
# sRGB signalling. Prints per format the median round time of each, the median of the
# per-round time ratios, and total output sizes.
# Build first (Release): cmake --build build-rel --target velmo-image-compress
#   bench/image-side-by-side.sh [BUILD_DIR]
#   env: ROUNDS (3), QUALITY (80), FORMATS ("jpeg webp avif"), PHOTOS (base names)
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$repo/build-rel}
tool=$build/bin/velmo-image-compress
[ -x "$tool" ] || { echo "missing $tool: build the velmo-image-compress target first" >&2; exit 1; }
rounds=${ROUNDS:-3}
quality=${QUALITY:-80}
formats=${FORMATS:-"jpeg webp avif"}
photos=${PHOTOS:-"wood-d adwaita-l licorice-l pixels-d truchet-d symbolic-l"}
backgrounds=/usr/share/backgrounds/gnome

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/in" "$work/velmo" "$work/reference"
for photo in $photos; do
  dwebp -quiet "$backgrounds/$photo.webp" -o "$work/in/$photo.png"
  dwebp -quiet -ppm "$backgrounds/$photo.webp" -o "$work/in/$photo.ppm"
done
read -r speed threads quantizer < <("$tool" --avif-settings "$quality")

now() { date +%s%N; }
# Seconds one command takes over all photographs; $1 is velmo or reference.
run_all() {
  local who=$1 format=$2 extension=$3 start photo input
  start=$(now)
  for photo in $photos; do
    input=$work/in/$photo.$extension
    if [ "$who" = velmo ]; then
      "$tool" "$format" "$quality" 100 -o "$work/velmo" "$input" > /dev/null
    else
      case $format in
        jpeg) cjpeg -quality "$quality" -outfile "$work/reference/$photo.jpg" "$input" ;;
        webp) cwebp -quiet -q "$quality" "$input" -o "$work/reference/$photo.webp" ;;
        avif) avifenc -s "$speed" -j "$threads" -y 420 --min "$quantizer" --max "$quantizer" \
                --minalpha "$quantizer" --maxalpha "$quantizer" --cicp 1/13/6 \
                "$input" "$work/reference/$photo.avif" > /dev/null ;;
      esac
    fi
  done
  echo "scale=3; ($(now) - $start) / 1000000000" | bc
}
median() { sort -n | awk '{ v[NR] = $1 } END { print (NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2) }'; }
reference_name() { case $1 in jpeg) echo cjpeg ;; webp) echo cwebp ;; avif) echo avifenc ;; esac; }

echo "# photographs: $photos; quality $quality; $rounds rounds; AVIF speed $speed, threads $threads, quantizer $quantizer"
echo "# load before: $(cut -d' ' -f1-3 /proc/loadavg)"
printf '%-5s %-8s %10s %10s %11s %12s %12s %10s\n' format tool velmo_s tool_s time_ratio velmo_bytes tool_bytes size_ratio
for format in $formats; do
  extension=png
  [ "$format" = jpeg ] && extension=ppm
  velmo_times=() reference_times=() ratios=()
  for round in $(seq "$rounds"); do
    if [ $((round % 2)) = 1 ]; then
      v=$(run_all velmo "$format" $extension); r=$(run_all reference "$format" $extension)
    else
      r=$(run_all reference "$format" $extension); v=$(run_all velmo "$format" $extension)
    fi
    velmo_times+=("$v") reference_times+=("$r") ratios+=("$(echo "scale=4; $v / $r" | bc)")
  done
  output=$format
  [ "$format" = jpeg ] && output=jpg
  velmo_bytes=$(cat "$work"/velmo/*."$output" | wc -c)
  reference_bytes=$(cat "$work"/reference/*."$output" | wc -c)
  printf '%-5s %-8s %10s %10s %11s %12s %12s %10s\n' "$format" "$(reference_name "$format")" \
    "$(printf '%s\n' "${velmo_times[@]}" | median)" "$(printf '%s\n' "${reference_times[@]}" | median)" \
    "$(printf '%s\n' "${ratios[@]}" | median)" "$velmo_bytes" "$reference_bytes" \
    "$(echo "scale=4; $velmo_bytes / $reference_bytes" | bc)"
done
echo "# load after: $(cut -d' ' -f1-3 /proc/loadavg)"
