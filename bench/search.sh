#!/usr/bin/env bash
# Content search of search.zip (10,000 entries, one holding "kestrelneedle") with the engine
# against `bsdtar -xOf | grep -c` and zipgrep, in one run. The engine's figure is the whole
# process under Wine; its own in-process time is printed beside. zipgrep starts unzip once
# per entry and takes minutes: it runs once (KESTRELIA_BENCH_ZIPGREP=0 leaves it out).
#   bench/search.sh [corpus dir]
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
trap 'kestrelia_wine_down; rm -f "${log:-}"' EXIT
bench_engine searchengine

archive=$corpus/search.zip
word=kestrelneedle
log=$(mktemp)
engine_once() { wine "$build/bin/searchengine.exe" "$(winepath -w "$archive")" "$word" "$@" >> "$log" 2>&1; }
pipe_once() { bsdtar -xOf "$archive" | grep -c "$word"; }
pipe_i_once() { bsdtar -xOf "$archive" | grep -ci "$word"; }

echo "== search.zip: $(unzip -Z1 "$archive" | wc -l) entries, \"$word\" in $(pipe_once) line(s)"
bench_time "bsdtar -xOf | grep -c" pipe_once; pipe_t=$median
bench_time "bsdtar -xOf | grep -ci" pipe_i_once; pipe_i_t=$median
: > "$log"
bench_time "engine, match case" engine_once --match-case; k_t=$median
bench_time "engine, ignore case" engine_once; k_i_t=$median
bench_time "engine, whole word" engine_once --whole-word; k_w_t=$median
grep -a "^search" "$log" | sort | uniq -c | sed 's/^ */  /' || true
echo "ratio engine match case / grep -c:   $(ratio "$k_t" "$pipe_t")"
echo "ratio engine ignore case / grep -ci: $(ratio "$k_i_t" "$pipe_i_t")"
echo "ratio engine whole word / grep -ci:  $(ratio "$k_w_t" "$pipe_i_t")"
if [ "${KESTRELIA_BENCH_ZIPGREP:-1}" != 0 ]; then
  runs=1 bench_time "zipgrep" zipgrep "$word" "$archive"; zg_t=$median
  echo "ratio engine match case / zipgrep:   $(ratio "$k_t" "$zg_t")"
fi
