#!/usr/bin/env bash
# TAR through tar.dll against bsdtar in one run: listing many.tar.gz, extracting big.tar and
# many.tar.gz. Peers: the native bsdtar, and bsdtar.exe built here for Windows from the same
# libarchive the library uses, run under Wine like the program (the fair peer). The engine's
# figure is the whole tarengine.exe process under Wine; its in-process time is printed beside.
#   bench/tar.sh [corpus dir]
# KESTRELIA_BENCH_ONLY="list big" (any of list, big, many) runs a part.
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
trap 'kestrelia_wine_down; rm -rf "${out:-}"' EXIT
engine=tarengine
bench_engine $engine
[ -f "$corpus/many.tar.gz" ] && [ -f "$corpus/big.tar" ] ||
  flock /tmp/kbench.lock bash "$bench_root/../shared/bench/make_corpus.sh" "$corpus" formats >/dev/null
bench_bsdtar_exe
bench_kind_scratch tarbench

# The listings go to a file: Wine hands /dev/null to bsdtar.exe as a character device, which
# leaves its stdout unbuffered and makes the peer pay a system call per field.
native_list() { bsdtar -tvf "$1" >"$out/list.txt"; }
native_extract() { bsdtar -xf "$1" -C "$out/d"; }
winbsd_list() { wine "$bsdtar_exe" -tvf "$(w "$1")" >"$out/list.txt" 2>/dev/null; }
winbsd_extract() { wine "$bsdtar_exe" -xf "$(w "$1")" -C "$(w "$out/d")" >/dev/null 2>&1; }

bench_kind "$corpus/many.tar.gz" "$corpus/big.tar" "tar.dll engine (Wine)" \
  "native=bsdtar (native)" "winbsd=bsdtar.exe (Wine)"
