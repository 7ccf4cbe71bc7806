#!/usr/bin/env bash
# The folder tree as a person meets it: an archive that zip -r made of a nested folder shows
# its folders in the tree, a click on a folder lists its subfolders, then its entries, with
# their count and sizes in the status bar; Enter on a subfolder goes in, Backspace comes out;
# the address box takes a folder with either separator or behind the archive's path and says
# when there is no such folder; the folder's properties tell its totals.
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
echo "snapshot of the project" | zip -q -z "$work/nested.zip"
crc=$(python3 -c 'import sys, zlib; print("%08X" % zlib.crc32(open(sys.argv[1], "rb").read()))' "$work/project/docs/readme.txt")

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
expect_contains "the root lists its folders first" "row 0: | docs |" "$out"

read -r x y < <(grep "^tree item docs at" <<<"$out" | awk '{print $5, $6}')
xdotool mousemove "$x" "$y" click 1
eventually 30 shows "| readme.txt |" --rows 10
out=$(inspect --rows 10)
expect_contains "the clicked folder is selected" "tree item docs at $x $y (selected)" "$out"
expect_contains "its subfolder comes first" "row 0: | img |" "$out"
expect_eq "only its subfolder and its direct entry" 2 "$(grep -c '^row ' <<<"$out")"
expect_contains "status bar counts the folder's rows" "status 1: 2 entries" "$out"
expect_contains "status bar sums the folder's sizes" "uncompressed: 1000B" "$out"
screenshot folder_docs

# Enter on the subfolder's row goes in; Backspace comes out with it selected.
read -r lx ly < <(grep "^place SysListView32 at" <<<"$out" | awk '{print $4, $5}')
xdotool mousemove "$lx" "$ly" click 1
xdotool key Down Home Return  # Home alone leaves the focused first row unselected
eventually 30 shows "| a.png |" --rows 10
expect_contains "Enter went into img" "(selected)" "$(inspect --rows 0 | grep '^tree item docs\\img')"
xdotool key BackSpace
eventually 30 shows "| readme.txt |" --rows 10
out=$(inspect --rows 10)
expect_contains "Backspace selects the parent" "tree item docs at" "$(grep '(selected)' <<<"$out")"
expect_contains "the folder left is the selected row" "list first selected: 0" "$out"

# The address box: "/" as well as "\", the archive's own path before the folder, and a
# folder that does not exist is said so and the box shows the folder again.
address() {
  read -r cx cy < <(inspect --rows 0 | grep "^place ComboBoxEx32 at" | awk '{print $4, $5}')
  xdotool mousemove "$cx" "$cy" click 1
  xdotool key ctrl+a
  xdotool type "$1"
  xdotool key Return
}
address 'docs/img'
eventually 30 shows "| a.png |" --rows 10
out=$(inspect --rows 10)
expect_contains "the typed folder is selected" "(selected)" "$(grep '^tree item docs\\img' <<<"$out")"
expect_contains "status bar counts them" "status 1: 2 entries" "$out"
screenshot folder_typed
address "$(winpath "$work/nested.zip")\\src"
eventually 30 shows "| main.c |" --rows 10
address 'docs/nowhere'
expect_box "a missing folder is said so" "The folder cannot be found." folder_missing
expect_shown "the box shows the folder again" 'control ComboBoxEx32 "src"' --rows 0
address 'docs'
eventually 30 shows "| readme.txt |" --rows 10
# Back in the list, below its rows: nothing selected, so the properties are the folder's.
read -r lx ly < <(inspect --rows 0 | grep "^place SysListView32 at" | awk '{print $4, $5}')
xdotool mousemove "$lx" "$((ly + 150))" click 1

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

# A selected entry's own properties: what its row shows and what the archive's record adds.
xdotool key Down Home Down alt+Return  # img, then readme.txt
eventually 30 shows "Properties of the entry" --class '#32770'
box=$(inspect --class '#32770')
expect_contains "the entry's name" '"readme.txt"' "$box"
expect_contains "its method" "Deflate" "$box"
expect_contains "its CRC" "$crc" "$box"
expect_contains "its size" "(1000 B)" "$box"
screenshot entry_properties
xdotool key Return
wait_gone '#32770'
# The whole archive's carry its comment.
xdotool key BackSpace
eventually 30 shows "| top.txt |" --rows 10
xdotool mousemove "$lx" "$((ly + 150))" click 1
xdotool key alt+Return
expect_box "the archive's properties show its comment" "snapshot of the project" archive_properties
wait_gone '#32770'

# Deleting inside a folder stays there, on the row that took the deleted one's place.
address 'docs'
eventually 30 shows "| readme.txt |" --rows 10
xdotool mousemove "$lx" "$((ly + 150))" click 1
xdotool key Down Home Down Delete  # readme.txt, the last row
inspect --class '#32770' --wait 30 --yes >/dev/null
gone_and_stayed() {
  out=$(inspect --rows 10)
  ! grep -qF "| readme.txt |" <<<"$out" && grep -q '^tree item docs at.*(selected)' <<<"$out" &&
    grep -q "list first selected: 0" <<<"$out"
}
eventually 60 gone_and_stayed
expect_contains "the folder stays shown" "(selected)" "$(grep '^tree item docs at' <<<"$out")"
expect_contains "the row before it is selected" "list first selected: 0" "$out"
expect_contains "the tree keeps its open branch" "tree item docs\\img" "$out"
stop_program
finish
