#!/usr/bin/env bash
# A person searching the contents: Ctrl+Shift+F opens the Find dialog, Enter finds the entry
# that holds the word (selected and scrolled into view), F3 the next one, Shift+F3 goes back,
# and F3 past the last hit gives the no-hit message. (A second Find dialog after that message
# is left out: without a window manager nothing gives the keyboard back to the window when the
# message box of the search's thread closes.)
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}

# Every wait below is on what the window shows, with a bound that only a hung program reaches.
# visible ROW: the row lies inside the scrolled part of the list.
visible() {
  local line top page
  line=$(inspect --rows 0 | grep "^list top:")
  top=$(awk '{print $3}' <<<"$line"); page=$(awk '{print $6}' <<<"$line")
  [ "$1" -ge "$top" ] && [ "$1" -lt $((top + page)) ] && echo yes || echo "no (top $top, $page rows)"
}
# wait_selected ROW: the search runs on its own thread; wait for its hit, print the selected row.
wait_selected() { inspect --wait 60 --until-selected "$1" --rows 0 | grep "^list first selected:" | awk '{print $4}'; }
# The dialog's title says that it searches the contents.
finder="Find text in the contents of the entries"
dialog_text() { inspect --class '#32770' --title "$finder" --wait 60 --rows 0; }
# The message box comes after the search's thread has finished.
wait_message() { inspect --class '#32770' --title Kestrelia --wait 60 --rows 0; }

start_program "$(winpath "$data/scroll.zip")"
inspect --wait 60 --until-rows 300 --rows 0 >/dev/null
xdotool key ctrl+shift+f
expect_contains "Ctrl+Shift+F opens the Find dialog" "window \"$finder\"" "$(dialog_text)"
xdotool type --delay 20 kestrelneedle
xdotool key Return
expect_eq "the entry holding the word is selected" 250 "$(wait_selected 250)"
expect_eq "and scrolled into view" yes "$(visible 250)"
screenshot found_first

xdotool key Escape
wait_gone '#32770' "$finder"  # the keyboard is the main window's again
xdotool key F3
expect_eq "F3 finds the next entry" 280 "$(wait_selected 280)"
expect_eq "F3's hit is scrolled into view" yes "$(visible 280)"
xdotool key shift+F3
expect_eq "Shift+F3 goes back to the earlier hit" 250 "$(wait_selected 250)"
xdotool key F3
expect_eq "F3 steps over the hit found before" 280 "$(wait_selected 280)"
xdotool key F3
expect_contains "F3 past the last hit says so" '"kestrelneedle" was not found.' "$(wait_message)"
screenshot not_found_after_last
focus Kestrelia
xdotool key Return
wait_gone '#32770' Kestrelia
stop_program
finish
