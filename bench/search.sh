#!/usr/bin/env bash
# Content search of search.zip (10,000 entries, one holding "kestrelneedle") with the engine
# against `bsdtar -xOf | grep -c` and zipgrep, in one run. The engine's figure is the whole
# process under Wine; its own in-process time is printed beside. zipgrep starts unzip once
# per entry and takes minutes: it runs once (KESTRELIA_BENCH_ZIPGREP=0 leaves it out).
# The window's walk (searchwindow: find next, then F3 to the no-hit message, on the search's
# thread with its progress dialog) is set beside the engine's walk by in-process time, so the
# listing of the rows and Wine's start are left out of both.
#   bench/search.sh [corpus dir]
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
trap 'kestrelia_wine_down; kestrelia_display_down; rm -f "${log:-}"' EXIT
bench_engine searchengine
cmake --build "$build" -j2 --target searchwindow >/dev/null
kestrelia_display_up  # the window's walk runs in real controls

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
# in_process PATTERN COMMAND...: the median of the milliseconds the matching line reports.
in_process() {
  local pattern=$1 ms=()
  shift
  for _ in $(seq "$runs"); do ms+=("$("$@" 2>/dev/null | tr -d '\r' | sed -n "s/^$pattern\([0-9.]*\) ms.*/\1/p")"); done
  median_of "${ms[@]}"
}
engine_ms() { wine "$build/bin/searchengine.exe" "$(winepath -w "$archive")" "$word" "$@"; }
window_ms() { wine "$build/bin/searchwindow.exe" "$(winepath -w "$archive")" "$word" "$@"; }
e_ms=$(in_process "search " engine_ms --match-case)
w_ms=$(in_process "window search " window_ms --match-case)
f_ms=$(in_process "folder list search " window_ms --match-case)
window_ms --match-case | tr -d '\r' | grep -E "search|^hit" | sed 's/^/  /'
echo "in-process: engine walk ${e_ms} ms, window walk ${w_ms} ms, folder list walk ${f_ms} ms"
echo "ratio window walk / engine walk:     $(ratio "$w_ms" "$e_ms")"
if [ "${KESTRELIA_BENCH_ZIPGREP:-1}" != 0 ]; then
  runs=1 bench_time "zipgrep" zipgrep "$word" "$archive"; zg_t=$median
  echo "ratio engine match case / zipgrep:   $(ratio "$k_t" "$zg_t")"
fi
