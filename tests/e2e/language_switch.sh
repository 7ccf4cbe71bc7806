#!/usr/bin/env bash
# Tools > Language switches the window to German at once, and the next start comes up in
# German even on a machine where no setting had been saved before.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}
key='HKCU\Software\Kestrelia'
wine reg delete "$key" /f >/dev/null 2>&1

start_program "$(winpath "$data/python.zip")"
out=$(inspect --wait 60 --until-rows 3 --until-title "python.zip" --rows 0)
expect_contains "English column title at first" "Filename" "$out"
win=$(xdotool search --name '^Kestrelia: ' | head -1)
xdotool windowactivate --sync "$win" 2>/dev/null
xdotool key alt+t
eventually 30 menus_open 1
# The menu reads the keys that follow from its own queue, in order: no wait for the submenu.
xdotool key l
screenshot language_menu
# The pop-up lists English (checked) then Deutsch.
xdotool key Down Down Return
expect_shown "German column title at once" "Dateiname" --rows 0
screenshot german_window
expect_contains "German status text at once" "Eintr" "$(inspect --rows 0)"
stop_program
expect_contains "language saved" "0x7" "$(wine reg query "$key" /v language 2>/dev/null | tr -d '\r')"

start_program
out=$(inspect --wait 60 --rows 0)
expect_contains "German after a restart" "Dateiname" "$out"
stop_program

wine reg delete "$key" /f >/dev/null 2>&1
finish
