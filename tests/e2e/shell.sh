#!/usr/bin/env bash
# The shell's roads as a person takes them: Ctrl+C on rows (a folder and names in several
# scripts among them) and a paste in a folder land the entries' bytes; Ctrl+V adds a copied
# file; Ctrl+X keeps an entry until a paste reports its move; a subfolder's row carries what
# it holds; a row dragged onto a tree folder moves there; Enter views texts in three
# encodings and a picture inside the program; a picture named on the command line opens the
# picture viewer.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
key='HKCU\Software\Kestrelia'
fresh_work shell_e2e
# A run that fails half-way leaves no settings behind for the tests after it.
trap 'rm -rf "$work"; wine reg delete "$key" /f >/dev/null 2>&1' EXIT

python3 - "$work" <<'PY'
import os, struct, sys, zipfile, zlib
work = sys.argv[1]
def png(width, height):
    rows = b"".join(b"\0" + bytes((x * 255 // width, 40, 255 - x * 255 // width)) * width for x in range(height))
    chunk = lambda kind, data: struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))
entries = {
    "texts/utf8.txt": "Grüße aus Köln, ютф восемь\n".encode(),
    "texts/utf16.txt": "\ufeffUTF-16 Ελληνικά\n".encode("utf-16-le"),
    "texts/cp1252.txt": "café naïve €uro\n".encode("cp1252"),
    "Überordner/日本語 メモ.txt": b"note\n" * 3,
    "picture.png": png(240, 160),
}
with zipfile.ZipFile(os.path.join(work, "shell.zip"), "w", zipfile.ZIP_DEFLATED) as z:
    for name, data in entries.items():
        z.writestr(name, data)
os.makedirs(os.path.join(work, "src"))
for name, data in entries.items():
    path = os.path.join(work, "src", name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    open(path, "wb").write(data)
open(os.path.join(work, "loose.png"), "wb").write(png(120, 90))
open(os.path.join(work, "added.txt"), "wb").write(b"pasted in\n")
PY

# Enter views inside the program only with this option (0x400) besides the level 6.
wine reg add "$key" /v configuration /t REG_DWORD /d 1030 /f >/dev/null 2>&1
start_program "$(winpath "$work/shell.zip")"
out=$(inspect --wait 60 --until-rows 5 --rows 10)
focus "Kestrelia: $(winpath "$work/shell.zip")"

# row_at NAME: the screen point of the row that shows NAME.
row_at() {
  local row x y
  row=$(inspect --rows 10 | grep -F "| $1 |" | sed 's/^row \([0-9]*\):.*/\1/')
  read -r x y < <(inspect --rows 10 | grep "^header 0 at" | awk '{print $4, $5}')
  echo "$x $((y + 17 * (row + 1)))"
}

xdotool mousemove $(row_at utf8.txt) click 1
xdotool key ctrl+a ctrl+c
mkdir -p "$work/pasted"
expect_contains "the paste takes every entry" "pasted 5" "$(inspect --paste "$(winpath "$work/pasted")")"
expect_same_tree "pasted entries are the archive's bytes, folders and names" "$work/src" "$work/pasted"

# view NAME TEXT: Enter on the row shows TEXT in the text viewer, which Escape closes.
view() {
  xdotool mousemove $(row_at "$1") click 1
  xdotool key Return
  expect_shown "$1 in the text viewer" "$2" --class KestreliaTextViewer --wait 30
  screenshot "text_$1"
  focus "$(inspect --class KestreliaTextViewer | sed -n 's/^window "\(.*\)"$/\1/p')"
  xdotool key Escape
  wait_gone KestreliaTextViewer
}
view utf8.txt "Grüße aus Köln"
view utf16.txt "UTF-16 Ελληνικά"
view cp1252.txt "café naïve €uro"

xdotool mousemove $(row_at picture.png) click 1
xdotool key Return
expect_shown "the picture viewer shows the PNG" "picture.png (1/1, 240x160)" --class KestreliaPictureViewer --wait 30
screenshot picture_viewer
inspect --class KestreliaPictureViewer --close >/dev/null
wait_gone KestreliaPictureViewer

# A file copied in the shell is pasted into the archive through the add job's options.
inspect --copy-file "$(winpath "$work/added.txt")" >/dev/null
focus "Kestrelia: $(winpath "$work/shell.zip")"
xdotool key ctrl+v
wait_dialog "Add to archive" >/dev/null
inspect --class '#32770' --ok >/dev/null
expect_shown "the pasted file is an entry" "| added.txt |" --rows 10
expect_contains "the archive holds it" "added.txt" "$(unzip -l "$work/shell.zip")"

# Ctrl+X, then a paste elsewhere. Wine's clipboard cannot hand the paste's report back to
# another process (its IDataObject::SetData proxy is a stub), so here the entry lands there
# and must stay in the archive: only a reported, finished move takes it out.
xdotool mousemove $(row_at added.txt) click 1
xdotool key ctrl+x
mkdir -p "$work/cut"
expect_contains "the paste takes the cut entry" "pasted 1" "$(inspect --paste "$(winpath "$work/cut")")"
expect_eq "with its bytes" "pasted in" "$(cat "$work/cut/added.txt")"
expect_contains "an unreported paste leaves it in the archive" "added.txt" "$(unzip -l "$work/shell.zip")"

# In the folder tree, a row of the folder list dragged onto a folder of the tree moves there.
xdotool key alt+v
eventually 30 menus_open 1
xdotool key t
expect_shown "the folder tree is shown" "tree item texts at" --rows 10
# A subfolder's row of the folder list is copied with everything below it.
xdotool mousemove $(row_at texts) click 1
xdotool key ctrl+c
mkdir -p "$work/folder_row"
expect_contains "the paste takes the folder's entries" "pasted 3" "$(inspect --paste "$(winpath "$work/folder_row")")"
expect_same_tree "a folder row lands as the folder with its entries" "$work/src/texts" "$work/folder_row/texts"
read -r tx ty < <(inspect --rows 10 | grep "^tree item texts at" | awk '{print $5, $6}')
read -r rx ry < <(row_at picture.png)
# The drag begins once the pointer leaves the row; the button is let go only when the tree
# shows the folder as the drop target. Each look nudges the pointer by a pixel, so the drag's
# loop sees it move over the folder however late the drag began.
xdotool mousemove "$rx" "$ry" mousedown 1 mousemove $((rx + 16)) "$ry"
nudge=0
over_folder() {
  nudge=$((1 - nudge))
  xdotool mousemove $((tx + nudge)) "$ty"
  inspect --rows 1 | grep -q "^tree item texts at .*(drop target)"
}
eventually 30 over_folder || true
xdotool mouseup 1
moved() { unzip -l "$work/shell.zip" | grep -q "texts/picture.png"; }
eventually 30 moved || true
expect_contains "the dragged row moved into the folder" "texts/picture.png" "$(unzip -l "$work/shell.zip")"
stop_program

start_program "$(winpath "$work/loose.png")"
expect_shown "a picture on the command line opens the viewer" "loose.png (1/1, 120x90)" --class KestreliaPictureViewer --wait 60
screenshot picture_command_line
inspect --class KestreliaPictureViewer --close >/dev/null
stop_program
wine reg delete "$key" /f >/dev/null 2>&1
finish
