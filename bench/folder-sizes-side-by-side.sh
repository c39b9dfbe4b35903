#!/usr/bin/env bash
# Folder sizes: the pane's "Calculate Folder Sizes" over 40 folders holding
# 100,000 entries in all, beside `du -s` over the same 40 folders, in the same
# rounds (order alternating); then a check that every folder's size is the byte
# sum of its regular files; then the automatic path on the million-entry tree.
#
#   bench/folder-sizes-side-by-side.sh [ROUNDS]
#
# What is counted differs from du on purpose: a folder's size here is the
# apparent bytes of the regular files below it. `du -s --apparent-size -B1`
# also counts each folder's own size and each link's length, and counts a
# hard-linked file once; plain `du -s` counts allocated blocks.
set -euo pipefail
cd "$(dirname "$0")/.."
ROUNDS=${1:-5}
BENCH=${BENCH:-${TMPDIR:-/tmp}/velmo-bench}
TREE=$BENCH/folders40x2500
BIN=${VELMO_BENCH_BIN:-build/bin}

if [ ! -x "$BIN/velmo-folder-sizes" ]; then
  cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELMO_BUILD_TESTS=OFF -DVELMO_BUILD_BENCH=ON >/dev/null
  cmake --build build -j2 --target velmo-folder-sizes >/dev/null
fi

# 40 folders of 2,500 entries: files of 0..64 KiB (sparse, so the tree is cheap
# on disk), nested folders, a link and a hard link in each. Same tree every time.
if [ ! -f "$TREE/.complete" ]; then
  rm -rf "$TREE"
  python3 - "$TREE" <<'PY'
import os, random, sys
root = sys.argv[1]
r = random.Random(40 * 2500)
for f in range(40):
    top = os.path.join(root, "folder%02d" % f)
    os.makedirs(top)
    entries, depth_dirs = 0, [top]
    while entries < 2500:
        parent = r.choice(depth_dirs)
        if r.random() < 0.05:
            d = os.path.join(parent, "sub%d" % entries)
            os.mkdir(d)
            depth_dirs.append(d)
        else:
            with open(os.path.join(parent, "file%d.dat" % entries), "wb") as out:
                out.truncate(r.randint(0, 64 * 1024))
        entries += 1
    os.symlink("file1.dat", os.path.join(top, "link-to-file"))
    first = next(n for n in sorted(os.listdir(top)) if n.endswith(".dat"))
    os.link(os.path.join(top, first), os.path.join(top, "hardlink.dat"))
open(os.path.join(root, ".complete"), "w").close()
PY
fi

median() { sort -n | awk '{a[NR]=$1} END {print (NR % 2) ? a[(NR+1)/2] : (a[NR/2] + a[NR/2+1]) / 2}'; }
now() { date +%s.%N; }

"$BIN/velmo-folder-sizes" "$TREE" >/dev/null; du -s "$TREE"/*/ >/dev/null # warm the cache
: >/tmp/velmo-fs-velmo.$$; : >/tmp/velmo-fs-du.$$
for ((round = 0; round < ROUNDS; round++)); do
  for which in $([ $((round % 2)) -eq 0 ] && echo "velmo du" || echo "du velmo"); do
    start=$(now)
    if [ "$which" = velmo ]; then "$BIN/velmo-folder-sizes" "$TREE" >/dev/null; else du -s "$TREE"/*/ >/dev/null; fi
    echo "$(now) - $start" | bc >>/tmp/velmo-fs-$which.$$
  done
done
echo "# 40 folders, 100,000 entries, $ROUNDS rounds, median wall seconds"
echo "velmo-folder-sizes  $(median </tmp/velmo-fs-velmo.$$)"
echo "du -s (40 folders)  $(median </tmp/velmo-fs-du.$$)"
rm -f /tmp/velmo-fs-velmo.$$ /tmp/velmo-fs-du.$$

echo "# check: each folder's size against the regular-file byte sum"
"$BIN/velmo-folder-sizes" --print "$TREE" | grep -v '^folders=' | sort -k2 >/tmp/velmo-fs-sizes.$$
mismatches=0
while IFS=$'\t' read -r bytes name; do
  expected=$(find "$TREE/$name" -type f -printf '%s\n' | awk '{s += $1} END {print s + 0}')
  apparent=$(du -s --apparent-size -B1 "$TREE/$name" | cut -f1)
  if [ "$bytes" != "$expected" ]; then mismatches=$((mismatches + 1)); echo "MISMATCH $name $bytes != $expected"; fi
  [ "$name" = folder00 ] && echo "folder00: velmo $bytes = find $expected; du --apparent-size -B1 $apparent (folders, link, hard link once)"
done </tmp/velmo-fs-sizes.$$
echo "folders checked: $(wc -l </tmp/velmo-fs-sizes.$$), mismatches: $mismatches"
rm -f /tmp/velmo-fs-sizes.$$

# The automatic path on the million-entry tree, on its 40 largest folders (the
# automatic path stands down above 40 visible folders): each must end within
# its budget of 200 ms.
if [ -d "$BENCH/tree1m" ]; then
  largest=$(cd "$BENCH/tree1m" && du --inodes -s -- */ 2>/dev/null | sort -rn | head -40 | cut -f2 | tr -d / | paste -sd,)
  echo "# automatic path, tree1m's 40 largest folders"
  "$BIN/velmo-folder-sizes" --auto --only "$largest" "$BENCH/tree1m"
fi
