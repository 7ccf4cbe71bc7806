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
bench_engine tarengine
[ -f "$corpus/many.tar.gz" ] && [ -f "$corpus/big.tar" ] ||
  flock /tmp/kbench.lock bash "$bench_root/../shared/bench/make_corpus.sh" "$corpus" formats >/dev/null

bench_bsdtar_exe

out=$(mktemp -d "$corpus/tarbench.XXXX")
fresh() { rm -rf "$out/d" && mkdir -p "$out/d"; }
w() { winepath -w "$1"; }

engine_list() { wine "$build/bin/tarengine.exe" list "$(w "$1")" >> "$out/engine.log" 2>&1; }
engine_extract() { fresh && wine "$build/bin/tarengine.exe" extract "$(w "$1")" "$(w "$out/d")" >> "$out/engine.log" 2>&1; }
# The listings go to a file: Wine hands /dev/null to bsdtar.exe as a character device, which
# leaves its stdout unbuffered and makes the peer pay a system call per field.
native_list() { bsdtar -tvf "$1" >"$out/list.txt"; }
native_extract() { fresh && bsdtar -xf "$1" -C "$out/d"; }
winbsd_list() { wine "$bsdtar_exe" -tvf "$(w "$1")" >"$out/list.txt" 2>/dev/null; }
winbsd_extract() { fresh && wine "$bsdtar_exe" -xf "$(w "$1")" -C "$(w "$out/d")" >/dev/null 2>&1; }

for part in ${KESTRELIA_BENCH_ONLY:-list big many}; do
  case $part in
    list) archive=$corpus/many.tar.gz; what=list; label="list many.tar.gz" ;;
    big) archive=$corpus/big.tar; what=extract; label="extract big.tar" ;;
    many) archive=$corpus/many.tar.gz; what=extract; label="extract many.tar.gz" ;;
  esac
  echo "== $label"
  : > "$out/engine.log"
  bench_time "bsdtar (native)" native_$what "$archive"; native_t=$median
  bench_time "bsdtar.exe (Wine)" winbsd_$what "$archive"; winbsd_t=$median
  bench_time "tar.dll engine (Wine)" engine_$what "$archive"; k_t=$median
  grep -a "^$what" "$out/engine.log" | tail -"$runs" || true
  echo "ratio engine / bsdtar native:     $(ratio "$k_t" "$native_t")"
  echo "ratio engine / bsdtar.exe (Wine): $(ratio "$k_t" "$winbsd_t")"
done
