#!/usr/bin/env bash
# CD images through iso.dll against bsdtar and 7zz in one run: listing the image of many/
# (101,111 small files), extracting big.iso (1 GiB) and the image of many/. Peers: the native
# bsdtar and 7zz, and bsdtar.exe built here for Windows from the same libarchive the library
# uses, run under Wine like the program (the fair peer). The engine's figure is the whole
# isoengine.exe process under Wine; its in-process time is printed beside.
#   bench/iso.sh [corpus dir]
# KESTRELIA_BENCH_ONLY="list big" (any of list, big, many) runs a part.
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
trap 'kestrelia_wine_down; rm -rf "${out:-}"' EXIT
bench_engine isoengine
[ -f "$corpus/many.iso" ] && [ -f "$corpus/big.iso" ] ||
  flock /tmp/kbench.lock bash "$bench_root/../shared/bench/make_corpus.sh" "$corpus" formats >/dev/null

bench_bsdtar_exe

out=$(mktemp -d "${KESTRELIA_BENCH_SCRATCH:-$corpus}/isobench.XXXX")
fresh() { rm -rf "$out/d" && mkdir -p "$out/d"; }
w() { winepath -w "$1"; }

engine_list() { wine "$build/bin/isoengine.exe" list "$(w "$1")" >> "$out/engine.log" 2>&1; }
engine_extract() { fresh && wine "$build/bin/isoengine.exe" extract "$(w "$1")" "$(w "$out/d")" >> "$out/engine.log" 2>&1; }
# The listings go to a file: Wine hands /dev/null to bsdtar.exe as a character device, which
# leaves its stdout unbuffered and makes the peer pay a system call per field.
native_list() { bsdtar -tvf "$1" >"$out/list.txt"; }
native_extract() { fresh && bsdtar -xf "$1" -C "$out/d"; }
sevenzip_list() { 7zz l "$1" >"$out/list.txt"; }
sevenzip_extract() { fresh && 7zz x -y -o"$out/d" "$1" >/dev/null; }
winbsd_list() { wine "$bsdtar_exe" -tvf "$(w "$1")" >"$out/list.txt" 2>/dev/null; }
winbsd_extract() { fresh && wine "$bsdtar_exe" -xf "$(w "$1")" -C "$(w "$out/d")" >/dev/null 2>&1; }

for part in ${KESTRELIA_BENCH_ONLY:-list big many}; do
  case $part in
    list) image=$corpus/many.iso; what=list; label="list many.iso" ;;
    big) image=$corpus/big.iso; what=extract; label="extract big.iso" ;;
    many) image=$corpus/many.iso; what=extract; label="extract many.iso" ;;
  esac
  echo "== $label"
  : > "$out/engine.log"
  bench_time "bsdtar (native)" native_$what "$image"; native_t=$median
  bench_time "7zz (native)" sevenzip_$what "$image"; seven_t=$median
  bench_time "bsdtar.exe (Wine)" winbsd_$what "$image"; winbsd_t=$median
  bench_time "iso.dll engine (Wine)" engine_$what "$image"; k_t=$median
  grep -a "^$what" "$out/engine.log" | tail -"$runs" || true
  echo "ratio engine / bsdtar native:     $(ratio "$k_t" "$native_t")"
  echo "ratio engine / 7zz native:        $(ratio "$k_t" "$seven_t")"
  echo "ratio engine / bsdtar.exe (Wine): $(ratio "$k_t" "$winbsd_t")"
done
