#!/usr/bin/env bash
# The newer TAR compressions through tar.dll against bsdtar in one run: listing many.tar.xz,
# extracting big.tar.zst and many.tar.xz. Peers: the native bsdtar, bsdtar.exe built here from
# the libarchive tar.dll uses (under Wine like the program), and the floor of only decoding
# the stream (xz -dc, zstd -dc, native). The engine's figure is the whole tarengine.exe process
# under Wine; its in-process time is printed beside.
#   bench/newer_tar.sh [corpus dir]
# KESTRELIA_BENCH_ONLY="list big" (any of list, big, many) runs a part.
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
trap 'kestrelia_wine_down; rm -rf "${out:-}"' EXIT
engine=tarengine
bench_engine $engine
[ -f "$corpus/many.tar.xz" ] && [ -f "$corpus/big.tar.zst" ] ||
  flock /tmp/kbench.lock bash "$bench_root/../shared/bench/make_corpus.sh" "$corpus" formats >/dev/null
bench_bsdtar_exe
bench_kind_scratch newertarbench

native_list() { bsdtar -tvf "$1" >"$out/list.txt"; }
native_extract() { bsdtar -xf "$1" -C "$out/d"; }
winbsd_list() { wine "$bsdtar_exe" -tvf "$(w "$1")" >"$out/list.txt" 2>/dev/null; }
winbsd_extract() { wine "$bsdtar_exe" -xf "$(w "$1")" -C "$(w "$out/d")" >/dev/null 2>&1; }
decode() { case $1 in *.xz) xz -dc "$1" ;; *.zst) zstd -qdc "$1" ;; esac; }
floor_list() { decode "$1" >/dev/null; }
floor_extract() { decode "$1" >/dev/null; }

bench_kind "$corpus/many.tar.xz" "$corpus/big.tar.zst" "tar.dll engine (Wine)" \
  "native=bsdtar (native)" "winbsd=bsdtar.exe (Wine)" "floor=decoding only (native)"
