#!/usr/bin/env bash
# The real program opens an archive named on its command line and one dropped on its window;
# the list, the status bar and the title show what the archive holds.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}

start_program "$(winpath "$data/python.zip")"
out=$(inspect --wait 60 --until-rows 3 --until-title "python.zip" --rows 10)
screenshot open_command_line
expect_contains "title names the archive" 'window "Kestrelia: Z:\' "$out"
expect_contains "three file rows" "list rows: 3" "$out"
expect_contains "nested entry row" "| c.txt |" "$out"
expect_contains "nested entry path" "| a\\b\\" "$out"
expect_contains "status count" "status 1: 3 " "$out"
stop_program

start_program
inspect --wait 60 >/dev/null
out=$(inspect --drop "$(winpath "$data/zip_deflated.zip")" --wait 60 --until-rows 6 --until-title "zip_deflated.zip" --rows 10)
screenshot open_dropped
expect_contains "dropped archive listed" "list rows: 6" "$out"
expect_contains "dropped archive in title" "zip_deflated.zip" "$out"
stop_program

start_program "$(winpath "$data/damaged.zip")"
# The open waits three seconds for a locked file before it gives up.
expect_box "damaged archive: error box" "damaged.zip" damaged_message
wait_gone '#32770'
close_after_run
finish
