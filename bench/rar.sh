#!/usr/bin/env bash
# RAR through the program's adapter and unrar.dll against the native unrar in one run:
# listing many.rar, extracting big.rar and many.rar. The engine's figure is the whole
# kindengine.exe process under Wine; its in-process time is printed beside. (The machine's 7zz
# has no RAR codec, so it is not a peer here.)
#   bench/rar.sh [corpus dir]
# KESTRELIA_BENCH_ONLY="list big" (any of list, big, many) runs a part.
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
trap 'kestrelia_wine_down; rm -rf "${out:-}"' EXIT
engine=kindengine
bench_engine $engine
# rar and unrar come from Debian non-free, unpacked by scripts/deps.sh.
export PATH=$KESTRELIA_DEPS/tools/bin:$PATH
command -v rar >/dev/null && command -v unrar >/dev/null || "$bench_root/scripts/deps.sh"
# The corpus's RAR pair alone, as make_corpus.sh makes it (its "formats" makes every kind).
(cd "$corpus" && flock /tmp/kbench.lock bash -c \
  '[ -f many.rar ] || rar a -idq -r many.rar many >/dev/null; [ -f big.rar ] || rar a -idq -r big.rar big >/dev/null')
bench_kind_scratch rarbench

native_list() { unrar l "$1" >"$out/list.txt"; }
native_extract() { unrar x -idq -o+ "$1" "$out/d/" >/dev/null; }

bench_kind "$corpus/many.rar" "$corpus/big.rar" "unrar.dll adapter (Wine)" "native=unrar (native)"
