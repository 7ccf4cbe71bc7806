#!/usr/bin/env bash
# A person's hands on the list: a click on a column header sorts by it (a second click turns
# the order round) and Ctrl+A selects every row.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}

start_program "$(winpath "$data/zip_deflated.zip")"
out=$(inspect --wait 60 --until-rows 6 --rows 10)
# Click the "Uncompressed" header (column 3) with the real mouse.
read -r x y < <(grep "^header 3 at" <<<"$out" | awk '{print $4, $5}')
xdotool mousemove "$x" "$y" click 1
eventually 30 shows "| zero.bin |" --rows 1
first=$(inspect --rows 10 | grep "^row 0:")
expect_contains "smallest entry first after one click" "| zero.bin |" "$first"
xdotool mousemove "$x" "$y" click 1
eventually 30 shows "| numbers.txt |" --rows 1
first=$(inspect --rows 10 | grep "^row 0:")
expect_contains "largest entry first after a second click" "| numbers.txt |" "$first"
screenshot sorted_descending

# Keyboard: focus is in the list; Ctrl+A selects all.
xdotool mousemove "$x" "$((y + 40))" click 1
xdotool key ctrl+a
eventually 30 shows "list selected: 6" --rows 0
out=$(inspect --rows 0)
expect_contains "Ctrl+A selects every row" "list selected: 6" "$out"
screenshot all_selected
stop_program
finish
