#!/usr/bin/env bash
# Listing many.zip (101,111 entries) in the program, against unzip -l and 7zz l, in one run.
# The program's figure is the whole time from start to a window showing every row; its own
# "time measure(do_listing)" line is printed beside it.
#   bench/list.sh [corpus dir]
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$bench_root/scripts/lib.sh"
bench_corpus
kestrelia_build >/dev/null
trap 'kestrelia_wine_down; kestrelia_display_down' EXIT
kestrelia_display_up
kestrelia_wine_up

archive=$corpus/many.zip
rows=$(unzip -Z1 "$archive" | grep -vc '/$')
winarchive=$(winepath -w "$archive")
echo "many.zip: $rows file entries"

program_once() {
  wine "$build/bin/Kestrelia.exe" "$winarchive" > "$build/bench_list.out" 2>&1 &
  local app=$!
  wine "$build/bin/wininspect.exe" --wait 120 --until-rows "$rows" --rows 0 --close >/dev/null
  wait "$app" || true
}

empty_once() {
  wine "$build/bin/Kestrelia.exe" > /dev/null 2>&1 &
  local app=$!
  wine "$build/bin/wininspect.exe" --wait 60 --rows 0 --close >/dev/null
  wait "$app" || true
}

bench_time "unzip -l" unzip -l "$archive"; unzip_t=$median
bench_time "7zz l" 7zz l "$archive"; sz_t=$median
bench_time "Kestrelia (start to rows)" program_once; k_t=$median
bench_time "Kestrelia (empty window)" empty_once; empty_t=$median
grep -a "time measure" "$build/bench_list.out" | tail -2 || true
echo "Wine's start and close of a window: ${empty_t} s of the program's figure"
echo "ratio Kestrelia / 7zz l:   $(ratio "$k_t" "$sz_t")"
echo "ratio Kestrelia / unzip -l: $(ratio "$k_t" "$unzip_t")"
