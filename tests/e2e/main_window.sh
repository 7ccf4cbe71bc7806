#!/usr/bin/env bash
# The main window as a person uses it: the status bar follows the selection; Enter opens a
# text entry in the program Windows associates with it; the context menu's Extract goes
# through the folder chooser, into which a path is typed; Close archive empties the window;
# Test archive reports a sound archive as sound and names the entry whose CRC fails.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}
fresh_work kestrelia_e2e_main
mkdir -p "$work/out"
cp "$data/zip_deflated.zip" "$work/good.zip"
# A stored entry with one byte of its data flipped: only its CRC can tell.
printf 'stored line of the damaged archive\n%.0s' $(seq 40) > "$work/damaged.txt"
(cd "$work" && zip -q -0 bad.zip damaged.txt && rm damaged.txt)
python3 - "$work/bad.zip" <<'PY'
import struct, sys
data = bytearray(open(sys.argv[1], "rb").read())
start = 30 + sum(struct.unpack("<HH", data[26:30]))
data[start + 5] ^= 0x20
open(sys.argv[1], "wb").write(bytes(data))
PY

# click_clears X Y: a click there leaves no row selected (the first click on a window that
# lost the focus may only bring it back).
click_clears() {
  xdotool mousemove "$1" "$2" click 1
  inspect --wait 2 --until-selected -1 >/dev/null
  shows "list selected: 0" --rows 0
}

# close_archive: Ctrl+W empties the window; right after a run the window may still be busy
# and ignore it, as it ignores every command that needs it idle.
close_archive() {
  focus "Kestrelia: .*good.zip"
  xdotool key ctrl+w
  shows 'window "Kestrelia"' --rows 0
}

# test_archive TITLE SHOT: Ctrl+T on the open archive; the one message the test ends with (its
# screenshot SHOT) on stdout, then it is closed.
test_archive() {
  local out
  focus "Kestrelia: .*$1"
  xdotool key ctrl+t
  out=$(inspect --class '#32770' --title Testing --wait 120)
  screenshot "$2"
  inspect --class '#32770' --title Testing --ok >/dev/null
  wait_gone '#32770' Testing >/dev/null
  echo "$out"
}

# select_row NAME: a click on the list's empty part below the rows (a click on a selected row
# would start renaming it), then the keys down to the row showing NAME.
select_row() {
  local out index x y
  focus "Kestrelia: .*good.zip"
  out=$(inspect --rows 20)
  index=$(grep -F "| $1 |" <<<"$out" | head -1 | sed 's/^row \([0-9]*\):.*/\1/')
  read -r x y < <(grep "^place SysListView32 at" <<<"$out" | head -1 | awk '{print $4, $5}')
  eventually 60 click_clears "$x" "$((y + 150))"
  xdotool key Home
  for _ in $(seq "$index"); do xdotool key Down; done
  inspect --wait 30 --until-selected "$index" >/dev/null
  eventually 30 shows "list selected: 1" --rows 0
}

start_program "$(winpath "$work/good.zip")"
inspect --wait 60 --until-rows 6 --until-title good.zip >/dev/null
expect_shown "no selection: the archive's count" "status 1: 6 " --rows 0

out=$(test_archive good.zip test_good)
expect_contains "the test of a sound archive finds no error" "No errors were found." "$out"
expect_contains "the test counts every entry" "Entries tested: 6" "$out"

select_row readme.txt
xdotool key shift+Down
expect_shown "two rows selected" "status 0: 2 selected" --rows 0
screenshot selection_status
expect_contains "two rows selected: their count" "status 1: 2 " "$(inspect --rows 0 | grep "^status")"

# Enter on readme.txt: the associated program shows its text. Notepad takes its time to come
# up on a loaded machine.
select_row readme.txt
xdotool key Return
out=$(inspect --class Notepad --until-title readme.txt --wait 180)
screenshot view_notepad
expect_contains "the text entry opens in Notepad" "readme.txt" "$(head -1 <<<"$out")"
expect_contains "Notepad shows the entry's text" "Kestrelia test archive" "$out"
inspect --class Notepad --close >/dev/null
wait_gone Notepad

# The context menu of the selection, opened with the menu key; its Extract item asks for the
# folder, and a typed path is taken.
select_row numbers.txt
xdotool key Menu
eventually 30 menus_open 1
screenshot context_menu
xdotool key x
choose_folder 'C:\kestrelia_e2e_main\out'
eventually 60 test -f "$work/out/good/docs/numbers.txt"
wait_gone '#32770'
expect_eq "the context menu extracts into a folder named after the archive" \
  "$(unzip -p "$work/good.zip" docs/numbers.txt | md5sum)" "$(md5sum < "$work/out/good/docs/numbers.txt" 2>/dev/null)"

# Close archive.
eventually 60 close_archive
out=$(inspect --rows 0)
screenshot closed
expect_contains "Close archive empties the title" 'window "Kestrelia"' "$out"
expect_contains "Close archive empties the list" "list rows: 0" "$out"
stop_program

start_program "$(winpath "$work/bad.zip")"
inspect --wait 60 --until-rows 1 --until-title bad.zip >/dev/null
out=$(test_archive bad.zip test_bad)
expect_contains "the test names the damaged entry" "damaged.txt - CRC error" "$out"
expect_contains "the test's message heads its failures" "Entries with errors:" "$out"
close_after_run
finish
