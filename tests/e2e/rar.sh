#!/usr/bin/env bash
# RAR as a person meets it: the real program opens a RAR5 archive named on its command line
# (files with "\" paths, non-Latin names, the status bar counting them), shows its folder
# tree, extracts two entries of a folder chosen in the tree byte for byte; "-x" extracts a
# whole RAR into a folder named after it; an archive with encrypted headers asks for the
# password in the program's dialog before it lists, and its test needs no second asking.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}
fresh_work kestrelia_e2e_rar
mkdir -p "$work/sel" "$work/x"
cp "$data/plain.rar" "$data/headers.rar" "$work/sel/"
cp "$data/solid.rar" "$work/x/"

start_program "$(winpath "$work/sel/plain.rar")"
out=$(inspect --wait 60 --until-rows 8 --until-title "plain.rar" --rows 10)
screenshot open_rar
expect_contains "eight file rows" "list rows: 8" "$out"
expect_contains "a non-Latin name" "| テキスト.txt |" "$out"
expect_contains "nested entry path with \\" "| docs\\deep\\" "$out"
expect_contains "status count" "status 1: 8 " "$out"

out=$(show_tree docs)
expect_contains "the tree shows the non-Latin folder" "tree item 日本語 at" "$out"
screenshot rar_tree
click_tree_item docs "$out"
out=$(until_shown "| numbers.txt |")
expect_contains "the folder's files are listed" "| zero.bin |" "$out"
# The subfolder's row comes first and stands for everything below it.
expect_contains "the subfolder comes first" "row 0: | deep |" "$out"
select_top_rows 2 "$out"
extract_selection 'C:\kestrelia_e2e_rar\sel' "$work/sel/plain/docs/deep/note.md" "$work/sel/plain/docs/numbers.txt"
screenshot rar_selection_extracted
for name in docs/numbers.txt docs/deep/note.md; do
  cmp -s "$data/src/$name" "$work/sel/plain/$name" || { echo "FAIL: $name differs"; failures=$((failures + 1)); }
done
expect_eq "only the selection" "docs/deep/note.md docs/numbers.txt" "$(files_below "$work/sel/plain")"
close_after_run

# "-x": the notice, the chooser, then a folder named after the archive ("solid").
extract_road "$work/x/solid.rar" 'C:\kestrelia_e2e_rar\x'
expect_same_tree "-x extracted the tree rar was given" "$data/src" "$work/x/solid"

# Encrypted headers: the password dialog comes before any row.
start_program "$(winpath "$work/sel/headers.rar")"
wait_dialog Kestrelia >/dev/null
screenshot rar_password
focus Kestrelia
xdotool type --delay 40 secret
xdotool key Return
out=$(inspect --wait 60 --until-rows 8 --until-title "headers.rar" --rows 10)
screenshot rar_headers_listed
expect_contains "listed after the password" "list rows: 8" "$out"
# Ctrl+T tests every entry with the password the list was given.
focus "Kestrelia: .*headers.rar"
xdotool key ctrl+t
out=$(inspect --class '#32770' --title Testing --wait 120)
screenshot rar_tested
expect_contains "the test finds no error" "No errors were found." "$out"
expect_contains "the test counts every file" "Entries tested: 8" "$out"
inspect --class '#32770' --title Testing --ok >/dev/null
stop_program
finish
