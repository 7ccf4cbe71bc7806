#!/usr/bin/env bash
# Compressing the folders big/ (1 GiB mixed) and many/ (101,111 small files) at level 6 with
# the engine, against `zip -r -6` and `7zz a -tzip -mx=5 -mmt=2`, in one run; prints the
# times, the archive sizes and the ratios. The engine runs twice: with the checksum pass
# before each file (the default) and without it ("SkipCRCCheck"), which is what that pass costs.
#   bench/create.sh [corpus dir]
# KESTRELIA_BENCH_ONLY=big (or many) runs one folder.
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
export KESTRELIA_BENCH_RUNS=${KESTRELIA_BENCH_RUNS:-1}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
trap 'kestrelia_wine_down; rm -rf "${out:-}"' EXIT
bench_engine createengine

out=$(mktemp -d "$corpus/create.XXXX")
engine_once() {
  rm -f "$out/k.zip"
  wine "$build/bin/createengine.exe" "$(winepath -w "$1")" "$(winepath -w "$out/k.zip")" 6 "${@:2}" \
    >> "$out/engine.log" 2>&1
}
zip_once() { rm -f "$out/z.zip" && (cd "$1" && zip -q -r -6 "$out/z.zip" .); }
sevenzip_once() { rm -f "$out/7.zip" && (cd "$1" && 7zz a -tzip -mx=5 -mmt=2 -bd "$out/7.zip" . >/dev/null); }
size() { stat -c %s "$1"; }

for name in ${KESTRELIA_BENCH_ONLY:-big many}; do
  folder=$corpus/$name
  echo "== $name/"
  : > "$out/engine.log"
  bench_time "zip -r -6" zip_once "$folder"; zip_t=$median
  bench_time "7zz -mx=5 -mmt=2" sevenzip_once "$folder"; sz_t=$median
  bench_time "Kestrelia engine" engine_once "$folder"; k_t=$median
  k_size=$(size "$out/k.zip")
  bench_time "Kestrelia, no CRC pass" engine_once "$folder" --skip-crc; nocrc_t=$median
  grep -a "^creation" "$out/engine.log" || true
  unzip -tq "$out/k.zip" | tail -1
  echo "sizes: engine $k_size, zip $(size "$out/z.zip"), 7zz $(size "$out/7.zip")"
  echo "ratio engine / zip time: $(ratio "$k_t" "$zip_t"), size: $(ratio "$k_size" "$(size "$out/z.zip")")"
  echo "ratio engine / 7zz time: $(ratio "$k_t" "$sz_t"), size: $(ratio "$k_size" "$(size "$out/7.zip")")"
  echo "CRC pass costs: $(awk -v a="$k_t" -v b="$nocrc_t" 'BEGIN{printf "%.2f s (%.0f%%)", a-b, (a-b)/b*100}')"
done
