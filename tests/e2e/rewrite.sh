#!/usr/bin/env bash
# A person deletes and renames entries in the window: Delete on a selected row (and Yes to
# the question), then F2 on another row and a new name typed in place. The archive on disk,
# unzip -t and the list must agree afterwards.
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
eventually 30 shows "list rows: 5" --rows 0
expect_eq "the entry left the archive" "" "$(names | grep -xF "$full")"
expect_contains "the list shows one row less" "list rows: 5" "$(inspect --rows 0)"
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
stop_program
finish
