#!/usr/bin/env bash
# The folder tree: the seven phases of its derivation and a click on a folder until its list
# is filled, for many.zip (101,111 entries) and for a zip of 1,000,000 empty files in 1,000
# folders made here in a scratch folder (removed at the end).
#   bench/tree.sh [corpus dir]
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
scratch=$(mktemp -d /tmp/kestrelia-bench-tree.XXXXXX)
trap 'kestrelia_wine_down; kestrelia_display_down; rm -rf "$scratch"' EXIT
bench_engine treeengine
kestrelia_display_up  # the tree and lists are real controls

million=$scratch/million.zip
if [ ! -f "$million" ]; then
  echo "== making million.zip (1,000,000 empty files in 1,000 folders)"
  python3 - "$million" <<'PY'
import sys, zipfile
with zipfile.ZipFile(sys.argv[1], "w", zipfile.ZIP_STORED) as z:
    for d in range(1000):
        for f in range(1000):
            z.writestr(zipfile.ZipInfo(f"d{d // 100}/d{d:03}/f{f:04}.txt", (2024, 1, 1, 0, 0, 0)), b"")
PY
fi

for archive in "$corpus/many.zip" "$million"; do
  echo "== $(basename "$archive")"
  bench_time "unzip -l (peer listing)" unzip -l "$archive"
  wine "$build/bin/treeengine.exe" "$(winepath -w "$archive")" | tr -d '\r' | grep -v "^$"
done
echo "time measure: ms since the start after destroying the indexes, the root item, the rows, the"
echo "folder keys, the data keys, the address box, the tree items"
