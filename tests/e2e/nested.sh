#!/usr/bin/env bash
# An archive inside an archive as a person meets it: a 7z holding a ZIP in a folder opens, the
# folder tree goes to that folder, Enter on the ZIP opens it in the same window (the title
# names the chain), a selection of it is extracted, deleting in it is refused, and Backspace
# climbs back to the 7z at the folder it was left in.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}
fresh_work kestrelia_e2e_nested
mkdir -p "$work/sel"
cp "$data/outer.7z" "$work/"

start_program "$(winpath "$work/outer.7z")"
inspect --wait 60 --until-rows 2 --until-title "outer.7z" >/dev/null
out=$(show_tree pack)
click_tree_item pack "$out"
out=$(until_shown "| inner.zip |")
select_top_rows 1 "$out"
xdotool key Return
out=$(inspect --wait 60 --until-title 'outer.7z\pack\inner.zip' --rows 10)
screenshot nested_child
expect_contains "the title names the chain" 'outer.7z\pack\inner.zip' "$out"
out=$(until_shown "tree item docs at")
expect_contains "the child's own rows" "| top.txt |" "$out"

click_tree_item docs "$out"
out=$(until_shown "| b.txt |")
select_top_rows 2 "$out"
extract_selection 'C:\kestrelia_e2e_nested\sel' "$work/sel/inner/docs/a.txt" "$work/sel/inner/docs/b.txt"
expect_eq "the selection's bytes" "inner a" "$(cat "$work/sel/inner/docs/a.txt")"
expect_eq "only the selection" "docs/a.txt docs/b.txt" "$(files_below "$work/sel/inner")"

xdotool key Delete
expect_box "deleting in the child is refused" "inside another archive" nested_refused
wait_gone '#32770'

# Back to the child's top, then out of it: the 7z shows its folder with the ZIP's row.
focus "Kestrelia: .*"
xdotool key BackSpace
until_shown "| top.txt |" >/dev/null
xdotool key BackSpace
out=$(until_shown "| inner.zip |")
screenshot nested_back
title=$(grep '^window' <<<"$out" | head -1)
expect_contains "back in the 7z" 'outer.7z"' "$title"
expect_eq "the chain has gone from the title" "" "$(grep -F inner.zip <<<"$title")"
stop_program
finish
