#!/usr/bin/env bash
# Runs the shared scan anchors (du, gdu, ncdu, the limit walker) with velmo-scan measured in
# the same rounds. Build first: cmake --build build --target velmo-scan
#   bench/scan-side-by-side.sh [BUILD_DIR] [anchors.sh options...]
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$repo/build}
[ $# -gt 0 ] && shift
scanner=$build/bin/velmo-scan
[ -x "$scanner" ] || { echo "missing $scanner: build the velmo-scan target first" >&2; exit 1; }
exec "$repo/../shared/bench/anchors.sh" -g scan -x "scan|velmo-scan|\"$scanner\" \"\$TREE\"" \
  -x "scan|velmo-scan -t 1|\"$scanner\" -t 1 \"\$TREE\"" "$@"
