#!/usr/bin/env bash
# The folder tree as a person meets it: an archive that zip -r made of a nested folder shows
# its folders in the tree, a click on a folder lists its entries with their count and sizes
# in the status bar, a folder typed into the address box is shown, and the folder's
# properties tell its totals.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/project/docs/img" "$work/project/src"
head -c 1000 /dev/zero | tr '\0' 'a' > "$work/project/docs/readme.txt"
head -c 300 /dev/zero | tr '\0' 'b' > "$work/project/docs/img/a.png"
head -c 700 /dev/zero | tr '\0' 'c' > "$work/project/docs/img/b.png"
echo "int main() { return 0; }" > "$work/project/src/main.c"
echo top > "$work/project/top.txt"
(cd "$work/project" && zip -q -r ../nested.zip docs src top.txt)

start_program "$(winpath "$work/nested.zip")"
inspect --wait 60 --until-rows 5 --rows 0 >/dev/null
focus "Kestrelia: .*"
xdotool key alt+v t  # View > Folder tree
eventually 30 shows "tree item docs\\img" --rows 0
out=$(inspect --rows 10)
expect_contains "the root item is the archive" "tree root $(winpath "$work/nested.zip")" "$out"
expect_contains "top-level folders shown" "tree item docs at" "$out"
expect_contains "nested folder below its parent" "tree item docs\\img" "$out"
expect_contains "the root lists the top-level entry" "| top.txt |" "$out"

read -r x y < <(grep "^tree item docs at" <<<"$out" | awk '{print $5, $6}')
xdotool mousemove "$x" "$y" click 1
eventually 30 shows "status 1: 1 entry" --rows 0
out=$(inspect --rows 10)
expect_contains "the clicked folder is selected" "tree item docs at $x $y (selected)" "$out"
expect_contains "its entry is listed" "| readme.txt |" "$out"
expect_eq "only its direct entries" 1 "$(grep -c '^row ' <<<"$out")"
expect_contains "status bar counts the folder's entries" "status 1: 1 entry" "$out"
expect_contains "status bar sums the folder's sizes" "uncompressed: 1000B" "$out"
screenshot folder_docs

# Typed into the address box, then Backspace goes up to the parent.
read -r cx cy < <(grep "^place ComboBoxEx32 at" <<<"$out" | awk '{print $4, $5}')
xdotool mousemove "$cx" "$cy" click 1
xdotool key ctrl+a
xdotool type 'docs\img'
xdotool key Return
eventually 30 shows "status 1: 2 entries" --rows 0
out=$(inspect --rows 10)
expect_contains "the typed folder is selected" "(selected)" "$(grep '^tree item docs\\img' <<<"$out")"
expect_contains "its entries are listed" "| a.png |" "$out"
expect_contains "its entries are listed" "| b.png |" "$out"
expect_contains "status bar counts them" "status 1: 2 entries" "$out"
screenshot folder_typed

read -r lx ly < <(grep "^place SysListView32 at" <<<"$out" | awk '{print $4, $5}')
xdotool mousemove "$lx" "$ly" click 1
xdotool key BackSpace
eventually 30 shows "status 1: 1 entry" --rows 0
out=$(inspect --rows 10)
expect_contains "Backspace selects the parent" "tree item docs at" "$(grep '(selected)' <<<"$out")"

# The folder's properties: every entry below it, the folder below it, both totals.
xdotool key alt+Return
eventually 30 shows "Properties of the folder" --class '#32770'
box=$(inspect --class '#32770')
expect_contains "properties name the folder" '"docs"' "$box"
expect_contains "properties count the entries below" "Entries:		 3" "$box"
expect_contains "properties count the folders below" "Folders:		 1" "$box"
expect_contains "properties sum the sizes" "Uncompressed:	 1.95 KB" "$box"
screenshot folder_properties
xdotool key Return
wait_gone '#32770'
stop_program
finish
