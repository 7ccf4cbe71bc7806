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
expect_shown "smallest entry first after one click" "| zero.bin |" --rows 1
# Ten pixels aside, still on the header: a second click on the same spot could count as a double click.
xdotool mousemove "$((x + 10))" "$y" click 1
expect_shown "largest entry first after a second click" "| numbers.txt |" --rows 1
screenshot sorted_descending

# Keyboard: focus is in the list; Ctrl+A selects all.
xdotool mousemove "$x" "$((y + 40))" click 1
xdotool key ctrl+a
expect_shown "Ctrl+A selects every row" "list selected: 6" --rows 0
screenshot all_selected
stop_program
finish
