#!/usr/bin/env bash
# F1 and Help > Help topics open the help file of the window's language in the help viewer:
# English first, then German (through the menu) after the language setting says 7. Help > About names every
# library the program is built on, with its version.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
key='HKCU\Software\Kestrelia'

# from_menu MENU ITEM: the main window's menu opened by its Alt key, then the item's key.
# A click on the title bar gives the window the keyboard back from a closed help viewer.
from_menu() {
  xdotool mousemove 400 12 click 1
  xdotool key "alt+$1"
  eventually 30 menus_open 1
  xdotool key "$2"
}

# help_window TITLE SHOT COMMAND...: the command in the main window brings up a help window
# of that title.
help_window() {
  local opened=no title=$1 shot=$2
  shift 2
  inspect --wait 60 --rows 0 >/dev/null
  focus Kestrelia
  "$@"
  eventually 20 window_titled "$title" && opened=yes
  screenshot "$shot"
  expect_eq "${*: -1} opens \"$title\"" yes "$opened"
  # Closed as its close box does: the viewer runs in the program's process, and a window
  # destroyed on the display's side under it ends that process with an X error.
  inspect --class "HH Parent" --title "$title" --close >/dev/null
  eventually 30 window_gone "$title"
}

wine reg delete "$key" /f >/dev/null 2>&1
start_program
# Under Wine the viewer does not come back a second time in the same run (seen with both
# roads): F1 is tried in English, the menu's Help topics in German.
help_window "Kestrelia Help" help_english xdotool key F1
from_menu h a
out=$(wait_dialog "About Kestrelia")
screenshot about
for library in "zlib 1." "minizip" "bzip2 1." "libdeflate 1." "libarchive (tar.dll) 3." "Kestrelia" "1.2"; do
  expect_contains "About names $library" "$library" "$out"
done
expect_eq "About leaves out the test framework" "" "$(grep -i googletest <<<"$out")"
inspect --class '#32770' --title "About Kestrelia" --close >/dev/null
wait_gone '#32770' "About Kestrelia"
stop_program

# Without the option word the start-up reads no other value.
wine reg add "$key" /v configuration /t REG_DWORD /d 6 /f >/dev/null 2>&1
wine reg add "$key" /v language /t REG_DWORD /d 7 /f >/dev/null 2>&1
start_program
help_window "Kestrelia Hilfe" help_german from_menu h h
stop_program
wine reg delete "$key" /f >/dev/null 2>&1
finish
