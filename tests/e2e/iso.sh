#!/usr/bin/env bash
# A CD image as a person meets it: the real program opens an image of Rock Ridge and Joliet
# names (German, Cyrillic, Japanese) named on its command line, lists its files with "\"
# paths, shows its folder tree, extracts a file chosen in a folder of the tree and a whole
# folder of the tree; "-x" extracts a whole image into a folder named after it. The bytes on disk are bsdtar's.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}
fresh_work kestrelia_e2e_iso
mkdir -p "$work/sel" "$work/x" "$work/ref" "$work/tree"
cp "$data/rrjoliet.iso" "$work/sel/"
cp "$data/rockridge.iso" "$work/x/"

start_program "$(winpath "$work/sel/rrjoliet.iso")"
out=$(inspect --wait 60 --until-rows 4 --until-title "rrjoliet.iso" --rows 10)
screenshot open_iso
expect_contains "title names the image" "rrjoliet.iso" "$out"
expect_contains "four file rows" "list rows: 4" "$out"
expect_contains "a Japanese name" "| ファイル名.txt |" "$out"
expect_contains "its path with \\" "| 日本語\\" "$out"
expect_contains "status count" "status 1: 4 " "$out"

# The folder tree (View > Folder tree), then a click on the Cyrillic folder lists its file.
out=$(show_tree Привет)
expect_contains "the tree shows the German folder" "tree item Größe und Maße at" "$out"
screenshot iso_tree
click_tree_item Привет "$out"
out=$(until_shown "| мир.txt |")
expect_contains "the folder holds one file" "list rows: 1" "$out"
select_top_rows 1 "$out"
extract_selection 'C:\kestrelia_e2e_iso\sel' "$work/sel/rrjoliet/Привет/мир.txt"
screenshot iso_selection_extracted
expect_eq "bsdtar's bytes" "$(bsdtar -xOf "$data/rrjoliet.iso" "Привет/мир.txt")" "$(cat "$work/sel/rrjoliet/Привет/мир.txt")"
expect_eq "only the selection" "Привет/мир.txt" "$(files_below "$work/sel/rrjoliet")"

# A folder chosen in the tree extracts everything below it.
click_tree_item "Größe und Maße" "$(until_shown "tree item Größe und Maße at")"
until_shown "| Übersicht.txt |" >/dev/null
extract_selection 'C:\kestrelia_e2e_iso\tree' "$work/tree/rrjoliet/Größe und Maße/Übersicht.txt"
expect_eq "the tree folder's files only" "Größe und Maße/Übersicht.txt" "$(files_below "$work/tree/rrjoliet")"
close_after_run

# "-x": the notice, the chooser, then a folder named after the image ("rockridge").
extract_road "$work/x/rockridge.iso" 'C:\kestrelia_e2e_iso\x'
bsdtar -xf "$data/rockridge.iso" -C "$work/ref"
expect_same_tree "-x extracted what bsdtar extracts" "$work/ref" "$work/x/rockridge"
finish
