#!/usr/bin/env bash
# Building an archive as a person does: "-c" with two files answered in the real save dialog,
# then a folder dropped on the open archive, confirmed in the options dialog. The archive on
# disk must pass unzip's test and hold what was given; the window must list it afterwards and
# show the dropped folder in its tree.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
fresh_work kestrelia_e2e_create
mkdir -p "$work/dropped/sub"
printf 'first file\n' > "$work/one.txt"
printf 'second file\n%.0s' $(seq 100) > "$work/two.txt"
printf 'in the folder\n' > "$work/dropped/x.txt"
printf 'deeper\n' > "$work/dropped/sub/y.txt"
wwork='C:\kestrelia_e2e_create'

start_program -c "$wwork\\one.txt" "$wwork\\two.txt"
wait_dialog "Save new archive as" >/dev/null || true
focus "Save new archive as"
xdotool type --delay 40 "$wwork\\new.zip"
screenshot save_dialog
xdotool key Return
out=$(inspect --wait 60 --until-title "new.zip" --until-rows 2 --rows 10)
screenshot created
expect_contains "the new archive is listed" "list rows: 2" "$out"
expect_contains "the title names it" "new.zip" "$out"
expect_eq "unzip tests it" 0 "$(unzip -tq "$work/new.zip" >/dev/null 2>&1; echo $?)"
expect_eq "it holds the two files" "one.txt two.txt" "$(unzip -Z1 "$work/new.zip" | sort | xargs)"
expect_eq "with their bytes" "$(cat "$work/two.txt")" "$(unzip -p "$work/new.zip" two.txt)"

inspect --drop "$wwork\\dropped" >/dev/null
wait_dialog "Add to archive" >/dev/null || true
focus "Add to archive"
screenshot options_dialog
xdotool key Return
out=$(inspect --wait 60 --until-rows 4 --rows 10)
screenshot folder_added
expect_contains "the folder's files are listed" "list rows: 4" "$out"
expect_contains "its file is a row" "| y.txt |" "$out"
expect_eq "the archive holds old and new entries" "dropped/ dropped/sub/ dropped/sub/y.txt dropped/x.txt one.txt two.txt" \
  "$(unzip -Z1 "$work/new.zip" | sort | xargs)"
expect_eq "unzip still tests it" 0 "$(unzip -tq "$work/new.zip" >/dev/null 2>&1; echo $?)"
focus "Kestrelia: .*"
xdotool key alt+v t  # View > Folder tree
expect_shown "the dropped folder is in the tree" "tree item dropped\\sub" --rows 0
stop_program
finish
