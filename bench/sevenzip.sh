#!/usr/bin/env bash
# 7z through the program's adapter and sevenzip.dll against the other roads in one run:
# listing many.7z, extracting big.7z and many.7z. Peers: the native 7zz (the same decoders,
# two threads like the corpus's archives), its test (decoding only, nothing written: the
# floor), the native bsdtar, and bsdtar.exe built here from the libarchive the program's other
# read-only kinds use, under Wine like the program (libarchive's road for the same archives).
# The engine's figure is the whole kindengine.exe process under Wine; its in-process time
# is printed beside.
#   bench/sevenzip.sh [corpus dir]
# KESTRELIA_BENCH_ONLY="list big" (any of list, big, many) runs a part.
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
trap 'kestrelia_wine_down; rm -rf "${out:-}"' EXIT
engine=kindengine
bench_engine $engine
[ -f "$corpus/many.7z" ] && [ -f "$corpus/big.7z" ] ||
  flock /tmp/kbench.lock bash "$bench_root/../shared/bench/make_corpus.sh" "$corpus" formats >/dev/null
bench_bsdtar_exe
bench_kind_scratch sevenzipbench

sevenzip_list() { 7zz l "$1" >"$out/list.txt"; }
sevenzip_extract() { 7zz x -y -o"$out/d" "$1" >/dev/null; }
floor_list() { 7zz l "$1" >"$out/list.txt"; }
floor_extract() { 7zz t "$1" >/dev/null; }
native_list() { bsdtar -tvf "$1" >"$out/list.txt"; }
native_extract() { bsdtar -xf "$1" -C "$out/d"; }
winbsd_list() { wine "$bsdtar_exe" -tvf "$(w "$1")" >"$out/list.txt" 2>/dev/null; }
winbsd_extract() { wine "$bsdtar_exe" -xf "$(w "$1")" -C "$(w "$out/d")" >/dev/null 2>&1; }

bench_kind "$corpus/many.7z" "$corpus/big.7z" "sevenzip.dll adapter (Wine)" "sevenzip=7zz (native)" \
  "floor=7zz t, decoding only (native)" "native=bsdtar (native)" "winbsd=bsdtar.exe, libarchive (Wine)"
