#!/usr/bin/env bash
# The real program opens a gzip-compressed TAR named on its command line: the list shows its
# files with "/" paths (folders are not rows), the status bar counts them, the title names it.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}

start_program "$(winpath "$data/gnu_pax.tar.gz")"
out=$(inspect --wait 60 --until-rows 7 --until-title "gnu_pax.tar.gz" --rows 10)
screenshot open_tar_gz
expect_contains "title names the archive" "gnu_pax.tar.gz" "$out"
expect_contains "seven file rows" "list rows: 7" "$out"
expect_contains "nested entry row" "| note.md |" "$out"
expect_contains "nested entry path with /" "| docs/deep/er/" "$out"
expect_contains "status count" "status 1: 7 " "$out"
stop_program

# A truncated archive lists what came before the damage and says so.
start_program "$(winpath "$data/truncated.tar.gz")"
expect_box "damaged archive: the library's notice" "damaged" damaged_tar
stop_program
finish
