#!/usr/bin/env bash
# Extracting big.zip (1 GiB) and many.zip (101,111 small files) with the engine, against
# bsdtar and unzip, in one run, each into a fresh folder on the same file system. The
# engine's figure is the whole process under Wine; its own in-process time is printed beside,
# with the time to only inflate every entry (the floor).
#   bench/extract.sh [corpus dir]
# KESTRELIA_BENCH_ONLY=big (or many) runs one archive: many.zip alone takes minutes.
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
trap 'kestrelia_wine_down; rm -rf "${out:-}"' EXIT
bench_engine extractengine

out=$(mktemp -d "$corpus/extract.XXXX")
fresh() { rm -rf "$out/d" && mkdir -p "$out/d"; }

engine_once() {
  fresh
  wine "$build/bin/extractengine.exe" "$(winepath -w "$1")" "$(winepath -w "$out/d")" >> "$out/engine.log" 2>&1
}
bsdtar_once() { fresh && bsdtar -xf "$1" -C "$out/d"; }
unzip_once() { fresh && unzip -q -o "$1" -d "$out/d"; }

for name in ${KESTRELIA_BENCH_ONLY:-big many}; do
  archive=$corpus/$name.zip
  echo "== $name.zip"
  : > "$out/engine.log"
  bench_time "bsdtar -x" bsdtar_once "$archive"; bsdtar_t=$median
  bench_time "unzip" unzip_once "$archive"; unzip_t=$median
  bench_time "Kestrelia engine" engine_once "$archive"; k_t=$median
  grep -a "^extraction" "$out/engine.log" | tail -"$runs" || true
  # The floor under the engine: inflating and checking every entry without writing.
  wine "$build/bin/extractengine.exe" "$(winepath -w "$archive")" --read-only 2>/dev/null | tail -1
  echo "ratio engine / bsdtar: $(ratio "$k_t" "$bsdtar_t")"
  echo "ratio engine / unzip:  $(ratio "$k_t" "$unzip_t")"
done
