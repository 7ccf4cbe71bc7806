#!/usr/bin/env bash
# What one run leaves in the registry, the next run finds: the window's place on the screen,
# and the archive it opened, which the File menu's recent list opens again by keyboard.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}
key='HKCU\Software\Kestrelia'

at_position() { xdotool getwindowgeometry "$1" | grep -q "Position: $2"; }

wine reg delete "$key" /f >/dev/null 2>&1
# The recent list is read back only once a configuration has been saved.
wine reg add "$key" /v configuration /t REG_DWORD /d 6 /f >/dev/null 2>&1

start_program "$(winpath "$data/python.zip")"
inspect --wait 60 --until-rows 3 --until-title "python.zip" >/dev/null
win=$(xdotool search --name '^Kestrelia: ' | head -1)
# Moved through the window itself: without a window manager Wine places its windows and
# does not take a move made on the display's side as the window's own.
inspect --move 180,120 >/dev/null
eventually 30 at_position "$win" 180,120
before=$(xdotool getwindowgeometry "$win" | grep Position)
echo "closed at: $before"
stop_program
expect_contains "the opened archive is in file_list" "python.zip" "$(wine reg query "$key" /v file_list 2>/dev/null | tr -d '\r')"

start_program
inspect --wait 60 >/dev/null
eventually 30 window_titled Kestrelia
win=$(xdotool search --name '^Kestrelia$' | head -1)
expect_eq "the window comes back where it was" "$before" "$(xdotool getwindowgeometry "$win" | grep Position)"
xdotool windowactivate --sync "$win" 2>/dev/null
xdotool key alt+f
eventually 30 menus_open 1
# The menu reads the keys that follow from its own queue, in order: no wait for the submenu.
xdotool key r
screenshot recent_menu
xdotool key 1
out=$(inspect --wait 60 --until-rows 3 --until-title "python.zip" --rows 0)
expect_contains "the first recent item opens the archive" "python.zip" "$out"
stop_program

wine reg delete "$key" /f >/dev/null 2>&1
finish
