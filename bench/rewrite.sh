#!/usr/bin/env bash
# Deleting one entry from big.zip (1 GiB, 726 entries) and from many.zip (101,111 entries)
# with the engine, against `zip -d` and `7zz d`, in one run, each on a fresh copy of the
# archive; a plain copy of the archive is the floor (every tool has to write it again), and a
# copy flushed to the disk the floor of the same durability. The
# engine's figure is the whole process under Wine; its own in-process time is printed beside.
#   bench/rewrite.sh [corpus dir]
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
bench_engine rewriteengine
out=$(mktemp -d "$corpus/rewrite.XXXX")
trap 'kestrelia_wine_down; rm -rf "$out"' EXIT

# Each tool works on its own fresh copy of $archive, made outside the timed part.
prepare() { rm -f "$out/a.zip"; cp "$archive" "$out/a.zip"; sync -f "$out" 2>/dev/null || true; }
bench_prepare=prepare
copy_once() { cp "$out/a.zip" "$out/b.zip"; rm -f "$out/b.zip"; }
# The engine puts the new archive on the disk before it replaces the old one; the peers leave
# that to the system's cache. This floor pays for the same flush.
copy_flush_once() { cp "$out/a.zip" "$out/b.zip"; sync "$out/b.zip"; rm -f "$out/b.zip"; }
engine_once() { wine "$build/bin/rewriteengine.exe" "$(winepath -w "$out/a.zip")" --delete "$1" >>"$out/engine.log"; }

for name in big many; do
  archive=$corpus/$name.zip
  # An entry from the middle, so that about half of the archive moves.
  count=$(unzip -Z1 "$archive" | grep -v '/$' | wc -l)
  victim=$(unzip -Z1 "$archive" | grep -v '/$' | sed -n "$((count / 2))p")
  echo "== $name.zip: delete $victim"
  : > "$out/engine.log"
  bench_time "copy (floor)" copy_once; copy_t=$median
  bench_time "copy + flush (floor)" copy_flush_once; flush_t=$median
  bench_time "zip -d" zip -q -d "$out/a.zip" "$victim"; zip_t=$median
  bench_time "7zz d" 7zz d -bd -bso0 "$out/a.zip" "$victim"; sz_t=$median
  bench_time "Kestrelia engine" engine_once "$victim"; k_t=$median
  grep -a "^rewrite" "$out/engine.log" | tail -"$runs" || true
  unzip -tq "$out/a.zip" | tail -1
  echo "ratio engine / copy:   $(ratio "$k_t" "$copy_t")"
  echo "ratio engine / copy + flush: $(ratio "$k_t" "$flush_t")"
  echo "ratio engine / zip -d: $(ratio "$k_t" "$zip_t")"
  echo "ratio engine / 7zz d:  $(ratio "$k_t" "$sz_t")"
done
