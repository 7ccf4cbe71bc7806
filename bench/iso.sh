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
engine=isoengine
bench_engine $engine
[ -f "$corpus/many.iso" ] && [ -f "$corpus/big.iso" ] ||
  flock /tmp/kbench.lock bash "$bench_root/../shared/bench/make_corpus.sh" "$corpus" formats >/dev/null
bench_bsdtar_exe
bench_kind_scratch isobench

# The listings go to a file: Wine hands /dev/null to bsdtar.exe as a character device, which
# leaves its stdout unbuffered and makes the peer pay a system call per field.
native_list() { bsdtar -tvf "$1" >"$out/list.txt"; }
native_extract() { bsdtar -xf "$1" -C "$out/d"; }
sevenzip_list() { 7zz l "$1" >"$out/list.txt"; }
sevenzip_extract() { 7zz x -y -o"$out/d" "$1" >/dev/null; }
winbsd_list() { wine "$bsdtar_exe" -tvf "$(w "$1")" >"$out/list.txt" 2>/dev/null; }
winbsd_extract() { wine "$bsdtar_exe" -xf "$(w "$1")" -C "$(w "$out/d")" >/dev/null 2>&1; }

bench_kind "$corpus/many.iso" "$corpus/big.iso" "iso.dll engine (Wine)" \
  "native=bsdtar (native)" "sevenzip=7zz (native)" "winbsd=bsdtar.exe (Wine)"
