#!/usr/bin/env bash
# RAR through the program's adapter and unrar.dll against the native unrar in one run:
# listing many.rar, extracting big.rar and many.rar. The engine's figure is the whole
# rarengine.exe process under Wine; its in-process time is printed beside. (The machine's 7zz
# has no RAR codec, so it is not a peer here.)
#   bench/rar.sh [corpus dir]
# KESTRELIA_BENCH_ONLY="list big" (any of list, big, many) runs a part.
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
trap 'kestrelia_wine_down; rm -rf "${out:-}"' EXIT
bench_engine rarengine
# rar and unrar come from Debian non-free, unpacked by scripts/deps.sh.
export PATH=$KESTRELIA_DEPS/tools/bin:$PATH
command -v rar >/dev/null && command -v unrar >/dev/null || "$bench_root/scripts/deps.sh"
# The corpus's RAR pair alone, as make_corpus.sh makes it (its "formats" makes every kind).
(cd "$corpus" && flock /tmp/kbench.lock bash -c \
  '[ -f many.rar ] || rar a -idq -r many.rar many >/dev/null; [ -f big.rar ] || rar a -idq -r big.rar big >/dev/null')

# KESTRELIA_BENCH_SCRATCH puts the extracted files elsewhere (a memory file system, as for
# bench/extract.sh): the disk's journal then no longer adds seconds at random.
out=$(mktemp -d "${KESTRELIA_BENCH_SCRATCH:-$corpus}/rarbench.XXXX")
fresh() { rm -rf "$out/d" && mkdir -p "$out/d" && sync; }
bench_prepare=fresh
w() { winepath -w "$1"; }

engine_list() { wine "$build/bin/rarengine.exe" list "$(w "$1")" >> "$out/engine.log" 2>&1; }
engine_extract() { wine "$build/bin/rarengine.exe" extract "$(w "$1")" "$(w "$out/d")" >> "$out/engine.log" 2>&1; }
native_list() { unrar l "$1" >"$out/list.txt"; }
native_extract() { unrar x -idq -o+ "$1" "$out/d/" >/dev/null; }

for part in ${KESTRELIA_BENCH_ONLY:-list big many}; do
  case $part in
    list) archive=$corpus/many.rar; what=list; label="list many.rar" ;;
    big) archive=$corpus/big.rar; what=extract; label="extract big.rar" ;;
    many) archive=$corpus/many.rar; what=extract; label="extract many.rar" ;;
  esac
  echo "== $label"
  : > "$out/engine.log"
  bench_time "unrar (native)" native_$what "$archive"; native_t=$median
  bench_time "unrar.dll adapter (Wine)" engine_$what "$archive"; k_t=$median
  grep -a "^$what" "$out/engine.log" | tail -"$runs" || true
  echo "ratio adapter / unrar native: $(ratio "$k_t" "$native_t")"
done
