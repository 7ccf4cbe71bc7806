#!/usr/bin/env bash
# A person deletes and renames entries in the window: Delete on a selected row (and Yes to
# the question), then F2 on another row and a new name typed in place, then F2 on a folder of
# the tree. The archive on disk, unzip -t, the list and the tree must agree afterwards.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
archive=$work/edit.zip
cp "$data/zip_deflated.zip" "$archive"

names() { unzip -Z1 "$archive" | grep -v '/$' | sort; }
row_name() { inspect --rows 10 | grep "^row $1:" | awk -F' [|] ' '{print $2}'; }
row_is() { [ "$(row_name "$1")" = "$2" ]; }
holds() { names | grep -qxF "$1"; }
lacks() { ! holds "$1"; }
edit_boxes() { inspect --rows 0 | grep -c "^place Edit at"; }
more_edit_boxes() { [ "$(edit_boxes)" -gt "$1" ]; }

start_program "$(winpath "$archive")"
out=$(inspect --wait 60 --until-rows 6 --rows 10)
read -r x y < <(grep "^header 0 at" <<<"$out" | awk '{print $4, $5}')
xdotool mousemove "$x" "$((y + 40))" click 1
xdotool key Home
eventually 30 shows "list selected: 1" --rows 0
victim=$(row_name 0)
full=$(names | grep -F "$victim" | head -1)
expect_eq "a row to delete is selected" 1 "$(inspect --rows 0 | grep -c 'list selected: 1')"

xdotool key Delete
eventually 30 shows 'window "' --class '#32770'
screenshot delete_question
xdotool key Return
eventually 30 lacks "$full"
expect_shown "the list shows one row less" "list rows: 5" --rows 0
expect_eq "the entry left the archive" "" "$(names | grep -xF "$full")"
expect_eq "unzip -t passes after the delete" 0 "$(unzip -tq "$archive" >/dev/null; echo $?)"

xdotool key Home
eventually 30 shows "list selected: 1" --rows 0
old=$(row_name 0)
oldfull=$(names | grep -F "$old" | head -1)
edits=$(edit_boxes)
xdotool key F2
# The name is edited in place: one more edit box is shown.
eventually 30 more_edit_boxes "$edits"
xdotool key ctrl+a
xdotool type --delay 20 "renamed.bin"
xdotool key Return
newfull=$(dirname "$oldfull" | sed 's#^\.$##; s#.$#&/#')renamed.bin
eventually 30 holds "$newfull"
# The row changes only once the run has ended and its progress dialog has gone, which under
# a loaded Wine can take seconds after the archive itself is replaced.
eventually 30 row_is 0 renamed.bin
expect_eq "the archive holds the new name" "$newfull" "$(names | grep -xF "$newfull")"
expect_eq "the old name is gone" "" "$(names | grep -xF "$oldfull")"
expect_eq "the list shows the new name" "renamed.bin" "$(row_name 0)"
expect_eq "unzip -t passes after the rename" 0 "$(unzip -tq "$archive" >/dev/null; echo $?)"
screenshot renamed

# F2 on a folder of the tree renames it: every entry below it goes with it.
before=$(names)
expected=$(sed 's#^docs/#papers/#' <<<"$before" | sort)
renamed_on_disk() { [ "$(names)" = "$expected" ]; }
xdotool key alt+v t  # View > Folder tree
eventually 30 shows "tree item docs at" --rows 0
read -r x y < <(inspect --rows 0 | grep "^tree item docs at" | awk '{print $5, $6}')
xdotool mousemove "$x" "$y" click 1
eventually 30 shows "tree item docs at $x $y (selected)" --rows 0
edits=$(edit_boxes)
xdotool key F2
eventually 30 more_edit_boxes "$edits"
xdotool key ctrl+a
xdotool type --delay 20 "papers"
xdotool key Return
eventually 30 renamed_on_disk
# The folder's list: its subfolders, then its own entries.
direct=$(( $(grep -c '^papers/[^/]*$' <<<"$expected") + $(grep -o '^papers/[^/]*/' <<<"$expected" | sort -u | wc -l) ))
entries="$direct entries"
[ "$direct" = 1 ] && entries="1 entry"
# The tree is derived again with the renamed folder selected and its entries listed; the
# status pane may count them a moment before the folder's fill has put the rows in.
papers_listed() {
  out=$(inspect --rows 10)
  grep -q '^tree item papers at.*(selected)' <<<"$out" && grep -qF "status 1: $entries" <<<"$out" &&
    [ "$(grep -c '^row ' <<<"$out")" = "$direct" ]
}
eventually 30 papers_listed
expect_eq "every entry below the folder moved with it" "$expected" "$(names)"
expect_eq "unzip -t passes after the folder rename" 0 "$(unzip -tq "$archive" >/dev/null; echo $?)"
expect_eq "the old folder left the tree" "" "$(grep '^tree item docs' <<<"$out")"
expect_contains "the renamed folder is selected" "(selected)" "$(grep '^tree item papers at' <<<"$out")"
expect_contains "its subfolder went with it" "tree item papers\\deep" "$out"
expect_eq "the list shows the folder's subfolders and entries" "$direct" "$(grep -c '^row ' <<<"$out")"
screenshot folder_renamed
stop_program
finish
