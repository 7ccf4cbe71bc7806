#!/usr/bin/env bash
# TAR as a person meets it: the real program opens a .tar.gz named on its command line (files
# with "/" paths, folders not rows, the status bar counting them, the title naming it), shows
# its folder tree, extracts two entries of a folder chosen in the tree, and "-x" extracts a
# .tar.gz into a folder named after it; the bytes on disk are bsdtar's. A truncated archive
# lists what came before the damage and says so.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}
fresh_work kestrelia_e2e_tar
mkdir -p "$work/sel" "$work/x" "$work/ref"
cp "$data/gnu_pax.tar.gz" "$work/sel/"
cp "$data/gnu_pax.tar.gz" "$work/x/"

# same_as_bsdtar FOLDER NAME...: each name's bytes on disk are bsdtar's.
same_as_bsdtar() {
  local folder=$1 name
  shift
  for name in "$@"; do
    bsdtar -xOf "$data/gnu_pax.tar.gz" "$name" | cmp -s - "$folder/$name" ||
      { echo "FAIL: $name differs from bsdtar's"; failures=$((failures + 1)); }
  done
}

start_program "$(winpath "$work/sel/gnu_pax.tar.gz")"
out=$(inspect --wait 60 --until-rows 7 --until-title "gnu_pax.tar.gz" --rows 10)
screenshot open_tar_gz
expect_contains "title names the archive" "gnu_pax.tar.gz" "$out"
expect_contains "seven file rows" "list rows: 7" "$out"
expect_contains "nested entry row" "| note.md |" "$out"
expect_contains "nested entry path with /" "| docs/deep/er/" "$out"
expect_contains "status count" "status 1: 7 " "$out"

# The folder tree (View > Folder tree), then a click on "docs" lists its subfolder and its
# two files; the subfolder's row and the first file are extracted, the folder whole.
out=$(show_tree docs)
expect_contains "the tree shows the top folders" "tree item data at" "$out"
screenshot tar_tree
click_tree_item docs "$out"
out=$(until_shown "| numbers.txt |")
expect_contains "the folder's files are listed" "| zero.bin |" "$out"
select_top_rows 2 "$out"
expect_contains "the subfolder comes first" "row 0: | deep |" "$out"
extract_selection 'C:\kestrelia_e2e_tar\sel' "$work/sel/gnu_pax/docs/deep/er/note.md" "$work/sel/gnu_pax/docs/numbers.txt"
until_shown "list rows: 3" >/dev/null
screenshot tar_selection_extracted
same_as_bsdtar "$work/sel/gnu_pax" docs/deep/er/note.md docs/numbers.txt
expect_eq "only the selection" "docs/deep/er/note.md docs/numbers.txt" "$(files_below "$work/sel/gnu_pax")"
close_after_run

# "-x": the notice, the chooser, then a folder named after the archive ("gnu_pax").
extract_road "$work/x/gnu_pax.tar.gz" 'C:\kestrelia_e2e_tar\x'
bsdtar -xf "$data/gnu_pax.tar.gz" -C "$work/ref"
expect_same_tree "-x extracted what bsdtar extracts" "$work/ref" "$work/x/gnu_pax"

# File > New archive named ".tar.gz" is written by tar.dll, then opened and listed.
start_program
inspect --wait 60 --title Kestrelia >/dev/null
focus Kestrelia
xdotool key ctrl+n
for title in "Save new archive as" "Choose the files to add"; do
  wait_dialog "$title" >/dev/null
  focus "$title"
  [ "$title" = "Save new archive as" ] && xdotool type --delay 40 'C:\kestrelia_e2e_tar\made.tar.gz' ||
    xdotool type --delay 40 'C:\kestrelia_e2e_tar\sel\gnu_pax.tar.gz'
  xdotool key Return
done
out=$(inspect --wait 60 --until-title "made.tar.gz" --until-rows 1 --rows 5)
screenshot new_tar
expect_contains "the new TAR is listed" "| gnu_pax.tar.gz |" "$out"
expect_eq "bsdtar reads the new TAR" "gnu_pax.tar.gz" "$(bsdtar -tf "$work/made.tar.gz")"
stop_program

# A truncated archive lists what came before the damage and says so.
start_program "$(winpath "$data/truncated.tar.gz")"
expect_box "damaged archive: the library's notice" "damaged" damaged_tar
close_after_run
finish
