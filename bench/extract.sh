#!/usr/bin/env bash
# Extracting big.zip (1 GiB) and many.zip (101,111 small files) with the engine, against
# bsdtar and unzip, in one run, each into a fresh folder on the same file system. The
# engine's figure is the whole process under Wine; its own in-process time is printed beside,
# with the time to only inflate every entry (the floor) and Wine's share: the same files made,
# written with zeros, their times set and closed by the program without the archive's data
# (extractengine --bare). The fair peer is bsdtar.exe, built for Windows from the libarchive
# the build uses and run under Wine like the program. The window's road is timed too: the
# archive opened in the program, Ctrl+E, the folder typed into the chooser, from its Return
# until the archive's last file is on disk whole. The virtual display has no window manager,
# and Wine waits up to two seconds for one to acknowledge every window it hides (the folder
# chooser's close is inside the timed road): the test prefix has Wine place its windows
# itself (scripts/lib.sh), as a desktop's manager would answer at once. Every run starts in
# an empty folder with the disk flushed, outside the timing, so no tool pays for the one
# before; the engine and the window take turns, so both meet the same load from the
# machine's other work.
#   bench/extract.sh [corpus dir]
# KESTRELIA_BENCH_ONLY=big (or many, or twenty: 20,000 files of many) runs one archive: many.zip
# alone takes minutes. KESTRELIA_BENCH_WINDOW=0 leaves the window's road out. The engine's
# in-process time is set against native bsdtar too ("in the process").
set -euo pipefail
export KESTRELIA_CORPUS=${1:-${KESTRELIA_CORPUS:-/tmp/kbench}}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
window=${KESTRELIA_BENCH_WINDOW:-1}
trap '[ "$window" = 1 ] && kestrelia_display_down; kestrelia_wine_down; rm -rf "${scratch:-}"' EXIT
bench_engine extractengine
bench_bsdtar_exe
if [ "$window" = 1 ]; then
  cmake --build "$build" -j2 --target Kestrelia wininspect >/dev/null
  kestrelia_display_up
  export KESTRELIA_BIN=$build/bin KESTRELIA_SHOTS=${KESTRELIA_SHOTS:-/tmp/kestrelia-bench-shots}
  source "$root/tests/e2e/e2e_lib.sh"
fi

# KESTRELIA_BENCH_SCRATCH puts the extracted files elsewhere, e.g. on a memory file system
# (mount -t tmpfs tmpfs DIR): the disk's journal then no longer adds seconds at random to
# whichever tool runs when it flushes, and what is left is what the tools and Wine cost. Not
# below /dev: Wine's folder chooser calls such a path one that does not exist.
scratch=$(mktemp -d "${KESTRELIA_BENCH_SCRATCH:-$corpus}/extract.XXXX")
fresh() { rm -rf "$scratch/d" && mkdir -p "$scratch/d" && sync; }
bench_prepare=fresh

# window_once ARCHIVE: the window's road; prints its seconds (the listing before is not timed).
window_once() {
  local archive=$1 last size t0 took file
  fresh
  last=$(unzip -Z1 "$archive" | grep -v '/$' | tail -1)
  size=$(unzip -Zl "$archive" "$last" | awk 'NR==1 {print $4}')
  file="$scratch/d/$(basename "$archive" .zip)/$last"
  start_program "$(winpath "$archive")"
  # The listing fills the list on its own thread; Ctrl+E waits for its count in the status bar.
  inspect --wait 600 --until-rows 1 >/dev/null || true
  until inspect | grep -q ' entries' || ! kill -0 "$app" 2>/dev/null; do sleep 0.5; done
  xdotool windowfocus --sync "$(xdotool search --name "^Kestrelia: " | head -1)"
  xdotool key ctrl+e
  wait_dialog "Choose the folder" >/dev/null
  focus "Choose the folder to extract to:"
  xdotool type --delay 20 "$(winpath "$scratch/d")"
  t0=$(now)
  xdotool key Return
  while [ ! -f "$file" ] || [ "$(stat -c %s "$file")" != "$size" ]; do
    kill -0 "$app" 2>/dev/null || { echo "the window ended before $last was whole" >&2; return 1; }
    sleep 0.05
  done
  took=$(seconds_since "$t0")
  # The run may still be winding down: a close then asks whether to cancel it, and Yes ends it.
  inspect --close >/dev/null
  eventually 60 answered_and_gone || true
  wait "$app" || true
  echo "$took"
}

# engine_and_window ARCHIVE: the engine and the window's road in turns, so that both meet the
# same load from whatever else the machine runs; the medians in $k_t and $w_t.
engine_and_window() {
  local engine=() window=() t0
  for _ in $(seq "$runs"); do
    fresh
    t0=$(now); engine_once "$1" >/dev/null 2>&1
    engine+=("$(seconds_since "$t0")")
    window+=("$(window_once "$1")")
  done
  report "Kestrelia engine" "${engine[@]}"; k_t=$median
  report "Kestrelia window" "${window[@]}"; w_t=$median
}

archive_of() {
  if [ "$1" = twenty ]; then
    (cd "$corpus" && find many/a00_* many/a01_* | sort | zip -q -X "$scratch/twenty.zip" -@)
    echo "$scratch/twenty.zip"
  else
    echo "$corpus/$1.zip"
  fi
}

engine_once() {
  wine "$build/bin/extractengine.exe" "$(winepath -w "$1")" "$(winepath -w "$scratch/d")" >> "$scratch/engine.log" 2>&1
}
bsdtar_once() { bsdtar -xf "$1" -C "$scratch/d"; }
winbsd_once() { wine "$bsdtar_exe" -xf "$(winepath -w "$1")" -C "$(winepath -w "$scratch/d")" >/dev/null 2>&1; }
bare_once() { wine "$build/bin/extractengine.exe" "$(winepath -w "$1")" "$(winepath -w "$scratch/d")" --bare >/dev/null 2>&1; }
unzip_once() { unzip -q -o "$1" -d "$scratch/d"; }

for name in ${KESTRELIA_BENCH_ONLY:-big many}; do
  archive=$(archive_of "$name")
  echo "== $name.zip   (load: $(uptime | sed 's/.*load average: //'))"
  : > "$scratch/engine.log"
  bench_time "bsdtar -x" bsdtar_once "$archive"; bsdtar_t=$median
  bench_time "unzip" unzip_once "$archive"; unzip_t=$median
  bench_time "bsdtar.exe (Wine)" winbsd_once "$archive"; winbsd_t=$median
  bench_time "bare create/write/close" bare_once "$archive"; bare_t=$median
  if [ "$window" = 1 ]; then
    engine_and_window "$archive"
  else
    bench_time "Kestrelia engine" engine_once "$archive"; k_t=$median
  fi
  extracted=$(grep -a "^extraction" "$scratch/engine.log" | tail -"$runs" || true)
  echo "$extracted"
  # The floor under the engine: inflating and checking every entry without writing.
  wine "$build/bin/extractengine.exe" "$(winepath -w "$archive")" --read-only 2>/dev/null | tail -1
  in_process=$(median_of $(awk '{print $2 / 1000}' <<< "$extracted"))
  echo "ratio engine / bsdtar: $(ratio "$k_t" "$bsdtar_t")   (in the process: $(ratio "$in_process" "$bsdtar_t"))"
  echo "ratio engine / unzip:  $(ratio "$k_t" "$unzip_t")"
  echo "ratio engine / bsdtar.exe (Wine): $(ratio "$k_t" "$winbsd_t")"
  echo "Wine's share (bare files / engine): $(ratio "$bare_t" "$k_t")"
  [ "$window" = 1 ] && echo "ratio window / engine: $(ratio "$w_t" "$k_t")"
done
