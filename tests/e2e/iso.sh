#!/usr/bin/env bash
# A CD image as a person meets it: the real program opens an image of Rock Ridge and Joliet
# names (German, Cyrillic, Japanese) named on its command line, lists its files with "\"
# paths, shows its folder tree, extracts a file chosen in a folder of the tree and a whole
# folder of the tree; "-x" extracts a whole image into a folder named after it. The bytes on disk are bsdtar's.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}
fresh_work kestrelia_e2e_iso
mkdir -p "$work/sel" "$work/x" "$work/ref" "$work/tree"
cp "$data/rrjoliet.iso" "$work/sel/"
cp "$data/rockridge.iso" "$work/x/"

start_program "$(winpath "$work/sel/rrjoliet.iso")"
out=$(inspect --wait 60 --until-rows 4 --until-title "rrjoliet.iso" --rows 10)
screenshot open_iso
expect_contains "title names the image" "rrjoliet.iso" "$out"
expect_contains "four file rows" "list rows: 4" "$out"
expect_contains "a Japanese name" "| ファイル名.txt |" "$out"
expect_contains "its path with \\" "| 日本語\\" "$out"
expect_contains "status count" "status 1: 4 " "$out"

# The folder tree (View > Folder tree), then a click on the Cyrillic folder lists its file.
focus "Kestrelia: .*"
xdotool key alt+v t
out=$(until_shown "tree item Привет at")
expect_contains "the tree shows the German folder" "tree item Größe und Maße at" "$out"
screenshot iso_tree
read -r x y < <(grep "^tree item Привет at" <<<"$out" | awk '{print $5, $6}')
xdotool mousemove "$x" "$y" click 1
out=$(until_shown "| мир.txt |")
expect_contains "the folder holds one file" "list rows: 1" "$out"
read -r lx ly < <(grep "^header 0 at" <<<"$out" | awk '{print $4, $5}')
xdotool mousemove "$lx" "$((ly + 20))" click 1
expect_shown "the row is selected" "list selected: 1" --rows 0
xdotool key ctrl+shift+e
choose_folder 'C:\kestrelia_e2e_iso\sel'
eventually 60 test -f "$work/sel/rrjoliet/Привет/мир.txt"
inspect --class '#32770' --until-gone --wait 60 >/dev/null
screenshot iso_selection_extracted
expect_eq "bsdtar's bytes" "$(bsdtar -xOf "$data/rrjoliet.iso" "Привет/мир.txt")" "$(cat "$work/sel/rrjoliet/Привет/мир.txt")"
expect_eq "only the selection" "Привет/мир.txt" \
  "$(cd "$work/sel/rrjoliet" && find . -type f | sed 's|^\./||' | sort | tr '\n' ' ' | sed 's/ $//')"

# A folder chosen in the tree extracts everything below it.
out=$(until_shown "tree item Größe und Maße at")
read -r x y < <(grep "^tree item Größe und Maße at" <<<"$out" | awk '{print $(NF-1), $NF}')
xdotool mousemove "$x" "$y" click 1
until_shown "| Übersicht.txt |" >/dev/null
xdotool key ctrl+shift+e
choose_folder 'C:\kestrelia_e2e_iso\tree'
eventually 60 test -f "$work/tree/rrjoliet/Größe und Maße/Übersicht.txt"
inspect --class '#32770' --until-gone --wait 60 >/dev/null
expect_eq "the tree folder's files only" "Größe und Maße/Übersicht.txt" \
  "$(cd "$work/tree/rrjoliet" && find . -type f | sed 's|^\./||' | sort | tr '\n' ' ' | sed 's/ $//')"
close_after_run

# "-x": the notice, the chooser, then a folder named after the image ("rockridge").
start_program -x "$(winpath "$work/x/rockridge.iso")"
expect_contains "the notice names the image" "rockridge.iso" "$(wait_dialog Kestrelia)"
focus Kestrelia
xdotool key Return
choose_folder 'C:\kestrelia_e2e_iso\x'
expect_exit "-x exit code"
bsdtar -xf "$data/rockridge.iso" -C "$work/ref"
expect_same_tree "-x extracted what bsdtar extracts" "$work/ref" "$work/x/rockridge"
finish
