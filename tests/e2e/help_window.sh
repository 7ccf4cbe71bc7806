#!/usr/bin/env bash
# F1 opens the help file of the window's language in the help viewer: English first, then
# German after the language setting says 7.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
key='HKCU\Software\Kestrelia'

# help_window TITLE SHOT: F1 in the main window brings up a help window of that title.
help_window() {
  local win id=""
  inspect --wait 60 --rows 0 >/dev/null
  win=$(xdotool search --name '^Kestrelia$' | head -1)
  xdotool windowfocus --sync "$win" 2>/dev/null
  xdotool key F1
  for _ in $(seq 40); do
    id=$(xdotool search --name "^$1\$" 2>/dev/null | head -1)
    [ -n "$id" ] && break
    sleep 0.5
  done
  screenshot "$2"
  expect_eq "F1 opens \"$1\"" "yes" "$([ -n "$id" ] && echo yes || echo no)"
  [ -n "$id" ] && xdotool windowclose "$id" 2>/dev/null
  eventually 30 window_gone "$1"
}

wine reg delete "$key" /f >/dev/null 2>&1
start_program
help_window "Kestrelia Help" help_english
stop_program

# Without the option word the start-up reads no other value.
wine reg add "$key" /v configuration /t REG_DWORD /d 6 /f >/dev/null 2>&1
wine reg add "$key" /v language /t REG_DWORD /d 7 /f >/dev/null 2>&1
start_program
help_window "Kestrelia Hilfe" help_german
stop_program
wine reg delete "$key" /f >/dev/null 2>&1
finish
