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

start_program "$(winpath "$archive")"
out=$(inspect --wait 60 --until-rows 6 --rows 10)
read -r x y < <(grep "^header 0 at" <<<"$out" | awk '{print $4, $5}')
xdotool mousemove "$x" "$((y + 40))" click 1
xdotool key Home
sleep 0.5
victim=$(row_name 0)
full=$(names | grep -F "$victim" | head -1)
expect_eq "a row to delete is selected" 1 "$(inspect --rows 0 | grep -c 'list selected: 1')"

xdotool key Delete
sleep 1
screenshot delete_question
xdotool key Return
for _ in $(seq 50); do names | grep -qxF "$full" || break; sleep 0.2; done
for _ in $(seq 50); do inspect --rows 0 | grep -q "list rows: 5" && break; sleep 0.2; done
expect_eq "the entry left the archive" "" "$(names | grep -xF "$full")"
expect_contains "the list shows one row less" "list rows: 5" "$(inspect --rows 0)"
expect_eq "unzip -t passes after the delete" 0 "$(unzip -tq "$archive" >/dev/null; echo $?)"

xdotool key Home
sleep 0.5
old=$(row_name 0)
oldfull=$(names | grep -F "$old" | head -1)
xdotool key F2
sleep 1
xdotool key ctrl+a
xdotool type --delay 20 "renamed.bin"
xdotool key Return
newfull=$(dirname "$oldfull" | sed 's#^\.$##; s#.$#&/#')renamed.bin
for _ in $(seq 50); do names | grep -qxF "$newfull" && break; sleep 0.2; done
# The row changes only once the run has ended and its progress dialog has gone, which under
# a loaded Wine can take seconds after the archive itself is replaced.
for _ in $(seq 150); do [ "$(row_name 0)" = renamed.bin ] && break; sleep 0.2; done
expect_eq "the archive holds the new name" "$newfull" "$(names | grep -xF "$newfull")"
expect_eq "the old name is gone" "" "$(names | grep -xF "$oldfull")"
expect_eq "the list shows the new name" "renamed.bin" "$(row_name 0)"
expect_eq "unzip -t passes after the rename" 0 "$(unzip -tq "$archive" >/dev/null; echo $?)"
screenshot renamed
stop_program
finish
