#!/usr/bin/env bash
# Extraction as a person does it: rows chosen in the list and Ctrl+Shift+E, and "-x" on the
# command line, each answered through the real folder chooser with a typed path. The files
# on disk, in a folder named after the archive, must be what unzip makes of the same archive.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
# error_box TEXT: the error box that shows TEXT, once it does; the progress dialog behind it is
# a dialog of the same class, so the box is told by its title and its text.
error_box() {
  eventually 60 shows "$1" --class '#32770' --title 'Kestrelia - Error'
  inspect --class '#32770' --title 'Kestrelia - Error'
}
data=${KESTRELIA_TESTDATA:?}
fresh_work kestrelia_e2e_extract

# same_as_unzip ARCHIVE FOLDER NAME...: each name's bytes on disk are unzip's.
same_as_unzip() {
  local archive=$1 folder=$2 name ok=0
  shift 2
  for name in "$@"; do
    if ! unzip -p "$archive" "$name" | cmp -s - "$folder/$name"; then
      echo "FAIL: $name differs from unzip's"
      ok=1
    fi
  done
  return $ok
}

# ---- the selection, from the window ----
mkdir -p "$work/sel"
cp "$data/zip_deflated.zip" "$work/sel/"
start_program "$(winpath "$work/sel/zip_deflated.zip")"
out=$(inspect --wait 60 --until-rows 6 --rows 10)
read -r x y < <(grep "^header 0 at" <<<"$out" | awk '{print $4, $5}')
xdotool mousemove "$x" "$((y + 20))" click 1
xdotool key shift+Down
expect_shown "two rows selected" "list selected: 2" --rows 0
# Their names as the archive holds them: the path column, then the file name.
mapfile -t chosen < <(grep -E "^row [01]:" <<<"$out" | awk -F' \\| ' '{gsub(/\\/, "/", $9); print $9 $2}')
mapfile -t others < <(grep -E "^row [2-5]:" <<<"$out" | awk -F' \\| ' '{gsub(/\\/, "/", $9); print $9 $2}')
echo "selected: ${chosen[*]}"
xdotool key ctrl+shift+e
choose_folder 'C:\kestrelia_e2e_extract\sel'
eventually 30 test -f "$work/sel/zip_deflated/${chosen[1]}"
# The progress dialog goes when the run is over.
wait_gone '#32770'
screenshot selection_extracted
if same_as_unzip "$work/sel/zip_deflated.zip" "$work/sel/zip_deflated" "${chosen[@]}"; then
  echo "ok: the selected entries are unzip's bytes"
else
  failures=$((failures + 1))
fi
for name in "${others[@]}"; do
  expect_eq "not selected, not extracted: $name" "absent" "$([ -e "$work/sel/zip_deflated/$name" ] && echo present || echo absent)"
done
close_after_run

# ---- "-x": no window, a notice with the archive's name, then the folder chooser ----
mkdir -p "$work/x" "$work/ref"
cp "$data/zip_deflated.zip" "$work/x/"
# With the history on (and no password on it) a script's extraction is recorded too.
history_dir=$(echo "$WINEPREFIX"/drive_c/users/*/AppData/Roaming)/Kestrelia
rm -rf "$history_dir"
wine reg add 'HKCU\Software\Kestrelia' /v configuration /t REG_DWORD /d $((0x40000 | 6)) /f >/dev/null 2>&1
start_program -x "$(winpath "$work/x/zip_deflated.zip")"
notice=$(wait_dialog "Kestrelia") || true
expect_contains "the notice names the archive" "zip_deflated.zip" "$notice"
expect_contains "-x has no main window" "no window of class Kestrelia" "$(inspect)"
screenshot x_notice
focus Kestrelia
xdotool key Return
choose_folder 'C:\kestrelia_e2e_extract\x'
expect_exit "-x exit code"
wine reg delete 'HKCU\Software\Kestrelia' /v configuration /f >/dev/null 2>&1
expect_contains "-x is recorded in the history" zip_deflated.zip "$(cat "$history_dir/history.dat" 2>/dev/null)"
unzip -q "$work/x/zip_deflated.zip" -d "$work/ref"
expect_same_tree "-x extracted what unzip extracts" "$work/ref" "$work/x/zip_deflated"

# ---- volumes that cannot take it all: a full disk and a read-only one ----
# File systems made for the test: tmpfs of a megabyte, which only root may mount (as in CI).
# One large entry first, then small ones that fit once the large one's working file is gone.
small=$work/small readonly=$work/readonly
mkdir -p "$small" "$readonly/many" "$work/src"
if [ "$(id -u)" = 0 ] && mount -t tmpfs -o size=1m tmpfs "$small" 2>/dev/null; then
  trap 'umount "$small" "$readonly" 2>/dev/null; rm -rf "$work"' EXIT
  head -c 3000000 /dev/urandom >"$work/src/big.bin"
  for i in $(seq -w 1 20); do head -c 8000 /dev/urandom >"$work/src/small$i.bin"; done
  (cd "$work/src" && zip -q -0 "$work/many.zip" big.bin small*.bin && tar cf "$work/many.tar" big.bin small*.bin)
  kinds="zip tar"
  rar_tool=$(command -v rar || echo "${KESTRELIA_DEPS:-}/tools/bin/rar")
  if [ -x "$rar_tool" ] && (cd "$work/src" && "$rar_tool" a -m0 -idq "$work/many.rar" big.bin small*.bin); then
    kinds="$kinds rar"
  fi
  if xorriso -as mkisofs -quiet -o "$work/many.iso" "$work/src" 2>/dev/null; then kinds="$kinds iso"; fi

  # Every kind asks the same one question and leaves the same nothing behind.
  for kind in $kinds; do
    start_program -x "$(winpath "$work/many.$kind")"
    wait_dialog "Kestrelia" >/dev/null || true
    focus Kestrelia
    xdotool key Return
    choose_folder "$(winpath "$small")"
    question=$(error_box small)
    screenshot "disk_full_question_$kind"
    expect_contains "$kind: a full disk is asked about once, naming the folder" "small" "$question"
    inspect --class '#32770' --title 'Kestrelia - Error' --yes >/dev/null
    report=$(error_box big.bin)
    screenshot "disk_full_report_$kind"
    expect_contains "$kind: the report names the entry that did not fit" "big.bin" "$report"
    inspect --class '#32770' --title 'Kestrelia - Error' --ok >/dev/null
    code=0
    eventually 60 ended || kill "$app"
    wait "$app" || code=$?
    expect_eq "$kind: -x says that an entry failed" 1 "$code"
    mkdir -p "$work/fits" && cp "$work"/src/small*.bin "$work/fits"
    expect_same_tree "$kind: what fits is whole, nothing partial is left" "$work/fits" "$small/many"
    rm -rf "${small:?}/many"
  done

  # A folder that takes no file: one question, and the run goes on in the folder chosen instead.
  # (RAR's library has gone past the entry that failed: the walk takes it again there.)
  mount -t tmpfs -o size=1m tmpfs "$readonly" && mkdir "$readonly/many" && mount -o remount,ro "$readonly"
  unzip -q "$work/many.zip" -d "$work/ref_many"
  for kind in zip $(case " $kinds " in *" rar "*) echo rar ;; esac); do
    mkdir -p "$work/elsewhere_$kind"
    start_program -x "$(winpath "$work/many.$kind")"
    wait_dialog "Kestrelia" >/dev/null || true
    focus Kestrelia
    xdotool key Return
    choose_folder "$(winpath "$readonly")"
    question=$(error_box readonly)
    screenshot "read_only_question_$kind"
    expect_contains "$kind: a read-only folder is asked about once" "readonly" "$question"
    inspect --class '#32770' --title 'Kestrelia - Error' --yes >/dev/null
    choose_folder "$(winpath "$work/elsewhere_$kind")"
    expect_exit "$kind: -x in the folder chosen instead"
    expect_same_tree "$kind: every entry went to the folder chosen instead" "$work/ref_many" "$work/elsewhere_$kind"
  done
  umount "$small" "$readonly"
else
  echo "skipped: the small and read-only volumes need root to mount a tmpfs"
fi
finish
