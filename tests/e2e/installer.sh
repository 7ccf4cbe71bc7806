#!/usr/bin/env bash
# The release's installer, silently, into a scratch folder: it takes the archive types nobody
# opens and a type another program owns only when named, an archive opens in the installed
# program through its association's command, and the uninstaller gives every type back and
# leaves the registry and the folders as they were.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
data=${KESTRELIA_TESTDATA:?}
setup=$(ls "${KESTRELIA_RELEASE:?}"/Kestrelia-*-setup.exe)
# A shortcut would otherwise reach the Linux desktop's menus through Wine's menu builder.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-};winemenubuilder.exe=d"

target='C:\kestrelia_install_test'
target_unix=$WINEPREFIX/drive_c/kestrelia_install_test
menu=$WINEPREFIX/drive_c/ProgramData/Microsoft/Windows/Start\ Menu/Programs
classes='HKLM\Software\Classes'
uninstall_key='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall'

cleanup() {
  [ -f "$target_unix/uninstall.exe" ] && wine "$target\\uninstall.exe" /S '_?='"$target" >/dev/null 2>&1
  rm -rf "$target_unix"
  wine reg delete "$classes\\.rar" /f >/dev/null 2>&1
  wine reg delete "$classes\\.gz" /f >/dev/null 2>&1
}
trap cleanup EXIT
cleanup

owner() { wine reg query "HKCR\\$1" /ve 2>/dev/null | tr -d '\r' | sed -n 's/.*REG_SZ *//p'; }
snapshot() {
  local dir=$shots/$1 key i=0
  rm -rf "$dir" && mkdir -p "$dir"
  for key in "$classes" "$uninstall_key" 'HKCU\Software\Classes'; do
    wine regedit /E "$(winpath "$dir")\\$i.reg" "${key/HKLM/HKEY_LOCAL_MACHINE}" >/dev/null 2>&1
    [ -f "$dir/$i.reg" ] || echo absent > "$dir/$i.reg"
    i=$((i + 1))
  done
  ls -R "$menu" > "$dir/menu.txt"
}

# Two types another program opens, before anything is installed.
wine reg add "$classes\\.rar" /ve /d OtherRar /f >/dev/null
wine reg add "$classes\\.gz" /ve /d OtherGz /f >/dev/null
snapshot before

wine "$setup" /S "/D=$target"
expect_eq "program installed" yes "$([ -f "$target_unix/Kestrelia.exe" ] && [ -f "$target_unix/help/kestrelia_en.chm" ] && echo yes)"
expect_eq "start menu entry" yes "$([ -f "$menu/Kestrelia.lnk" ] && echo yes)"
expect_eq "a free type is taken" ZipFile "$(owner .jar)"
expect_eq "an owned type is left without asking" OtherGz "$(owner .gz)"
expect_contains "add/remove programs" "$target\\uninstall.exe" \
  "$(wine reg query "$uninstall_key\\Kestrelia" /v UninstallString 2>/dev/null)"

# A second install names its types: the owned .gz is taken, the .jar it leaves out goes back.
wine "$setup" /S "/ASSOC=.zip,.tar,.gz" "/D=$target"
for row in ".zip ZipFile" ".tar ZipFile" ".gz ZipFile" ".jar -" ".rar OtherRar"; do
  read -r ext want <<<"$row"
  got=$(owner "$ext")
  expect_eq "chosen association $ext" "$want" "${got:--}"
done
icon=$(wine reg query 'HKCR\ZipFile\DefaultIcon' /ve 2>/dev/null | tr -d '\r')
expect_contains "class icon" "$target\\Kestrelia.exe,0" "$icon"

# Opening an archive as the shell does: the association's command with the file for "%1".
command=$(wine reg query 'HKCR\ZipFile\shell\open\command' /ve 2>/dev/null | tr -d '\r' | sed -n 's/.*REG_SZ *//p')
mapfile -t argv < <(python3 -c 'import shlex, sys; print("\n".join(shlex.split(sys.argv[1])))' "$command")
archive=$(winpath "$data/python.zip")
expect_eq "open command" "$target\\Kestrelia.exe|%1" "${argv[0]}|${argv[1]}"
args=()
for a in "${argv[@]}"; do [ "$a" = %1 ] && args+=("$archive") || args+=("$a"); done
wine "${args[@]}" > "$shots/program.out" 2>&1 &
app=$!
out=$(inspect --wait 60 --until-rows 3 --until-title "python.zip" --rows 5)
screenshot opened_by_association
expect_contains "association opens the archive" "list rows: 3" "$out"
stop_program

# The uninstaller runs from a copy of itself and removes the folder once it is done.
wine "$target\\uninstall.exe" /S
eventually 60 test ! -e "$target_unix" || echo "FAIL: install folder stays: $(ls -R "$target_unix")"
snapshot after
for f in 0.reg 1.reg 2.reg menu.txt; do
  if cmp -s "$shots/before/$f" "$shots/after/$f"; then
    echo "ok: as before: $f"
  else
    echo "FAIL: changed by install and uninstall: $f"
    diff <(iconv -f UTF-16 -t UTF-8 "$shots/before/$f" 2>/dev/null || cat "$shots/before/$f") \
         <(iconv -f UTF-16 -t UTF-8 "$shots/after/$f" 2>/dev/null || cat "$shots/after/$f") | head -20
    failures=$((failures + 1))
  fi
done
finish
