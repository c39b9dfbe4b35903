#!/usr/bin/env bash
# startup-side-by-side.sh: time from start to the first drawn window with a
# stored session of one tab and of ten tabs (each pane on its own folder of 200
# files), in the same hyperfine run. Needs a display (run under xvfb-run).
#
#   xvfb-run -a bench/startup-side-by-side.sh [-r RUNS]
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
VELMO=${VELMO:-$ROOT/build/bin/velmo}
RUNS=30
while getopts "r:" o; do case $o in r) RUNS=$OPTARG ;; *) exit 2 ;; esac; done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for i in $(seq 0 9); do mkdir -p "$work/d$i"; (cd "$work/d$i" && seq -f 'f%g' 1 200 | xargs touch); done
python3 - "$work" <<'PY'
import json, os, sys
work = sys.argv[1]
def tab(i): return {"browser": {"_0": {"leftPath": f"{work}/d{i}", "rightPath": f"{work}/d{(i+1)%10}", "activePane": "left"}}}
for n in (1, 10):
    os.makedirs(f"{work}/cfg{n}/velmo", exist_ok=True)
    doc = json.dumps({"tabs": [tab(i) for i in range(n)], "activeTabIndex": 0}, separators=(",", ":"))
    escaped = doc.replace("\\", "\\\\").replace('"', '\\"')
    open(f"{work}/cfg{n}/velmo/velmo.ini", "w").write('[General]\nvelmo.session="@ByteArray(' + escaped + ')"\n')
PY
hyperfine -w 3 -r "$RUNS" -N \
  -n "1 tab" "env XDG_CONFIG_HOME=$work/cfg1 VELMO_QUIT_AFTER_FIRST_PAINT=1 $VELMO" \
  -n "10 tabs" "env XDG_CONFIG_HOME=$work/cfg10 VELMO_QUIT_AFTER_FIRST_PAINT=1 $VELMO"
