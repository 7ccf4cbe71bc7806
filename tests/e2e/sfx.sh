#!/usr/bin/env bash
# Self-extracting programs made by the engine tool and run as someone else would run them:
# silently from a script and through their own window, from an empty folder with nothing
# beside them. Every entry comes back byte for byte, names in several scripts included; a
# wrong password or one altered byte writes nothing; hostile names are refused.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
fresh_work kestrelia_e2e_sfx
cd "$work"
mkdir -p src/sub "src/Русский" src/empty
printf 'plain text\n' > src/a.txt
head -c 400000 /dev/urandom > src/sub/random.bin
printf 'japanese\n' > "src/日本語.txt"
printf 'russian\n' > "src/Русский/файл.txt"
printf 'greek\n' > "src/sub/Ελληνικά ü.txt"
# 7-Zip stores what does not shrink: this one shrinks under every method.
seq 1 20000 > src/sub/numbers.txt
(cd src && zip -qr ../plain.zip . && zip -qr -P zz ../crypt.zip .)
# Entries the program reads that the container library alone cannot: WinZip AES (here over
# bzip2, both roads at once), and bzip2, LZMA and XZ without encryption.
methods="BZip2 LZMA XZ"
(cd src && 7zz a -tzip -mem=AES256 -mm=BZip2 -p'aes zz' ../aes.zip . >/dev/null &&
  for method in $methods; do 7zz a -tzip -mm=$method ../$method.zip . >/dev/null; done)
python3 - <<'PY'
import zipfile
with zipfile.ZipFile("hostile.zip", "w") as z:
    z.writestr("good.txt", "good\n")
    z.writestr("../escaped.txt", "bad\n")
    z.writestr("CON.txt", "bad\n")
PY
sfx() { wine "$bin/sfxengine.exe" "$@" >/dev/null 2>&1; }
run() { wine "$@" >/dev/null 2>&1; echo $?; }

sfx plain.zip plain.exe
sfx plain.zip sealed.exe 'geheim Ü'
sfx plain.zip window.exe 'open sesame'
sfx crypt.zip crypt.exe
sfx aes.zip aes.exe
for method in $methods; do sfx $method.zip $method.exe; done
sfx hostile.zip hostile.exe
made="plain.exe sealed.exe crypt.exe aes.exe BZip2.exe LZMA.exe XZ.exe hostile.exe window.exe"
expect_eq "the engine tool makes nine programs" "9" "$(ls $made 2>/dev/null | wc -l)"

# Each made program alone in an empty folder: nothing of the program's beside it.
mkdir alone && cp $made alone/
cd alone
expect_eq "silent run exits 0" 0 "$(run plain.exe /s /d 'C:\kestrelia_e2e_sfx\out_plain')"
expect_same_tree "silent run writes every entry byte for byte" ../src ../out_plain
expect_eq "the sealed program with its password" 0 "$(run sealed.exe /s /d 'C:\kestrelia_e2e_sfx\out_sealed' /p 'geheim Ü')"
expect_same_tree "the sealed program's entries" ../src ../out_sealed
expect_eq "encrypted entries with their password" 0 "$(run crypt.exe /s /d 'C:\kestrelia_e2e_sfx\out_crypt' /p zz)"
expect_same_tree "the encrypted entries" ../src ../out_crypt
expect_eq "AES entries with their password" 0 "$(run aes.exe /s /d 'C:\kestrelia_e2e_sfx\out_aes' /p 'aes zz')"
expect_same_tree "the AES entries" ../src ../out_aes
for method in $methods; do
  expect_eq "$method entries" 0 "$(run $method.exe /s /d "C:\\kestrelia_e2e_sfx\\out_$method")"
  expect_same_tree "the $method entries" ../src ../out_$method
done

for program in sealed crypt aes; do
  expect_eq "$program: a wrong password exits 3" 3 "$(run $program.exe /s /d "C:\\kestrelia_e2e_sfx\\wrong_$program" /p 'geheim')"
  expect_eq "$program: and writes nothing" "" "$(ls -d ../wrong_$program 2>/dev/null)"
done
python3 - <<'PY'
data = bytearray(open("sealed.exe", "rb").read())
at = data.rfind(b"KSX1") + 40 + 200000
data[at] ^= 1
open("altered.exe", "wb").write(data)
PY
expect_eq "one altered byte exits 4" 4 "$(run altered.exe /s /d 'C:\kestrelia_e2e_sfx\out_altered' /p 'geheim Ü')"
expect_eq "and writes nothing" "" "$(ls -d ../out_altered 2>/dev/null)"

expect_eq "hostile names are refused (exit 6)" 6 "$(run hostile.exe /s /d 'C:\kestrelia_e2e_sfx\out_hostile')"
expect_eq "the rest is written" "good.txt" "$(ls ../out_hostile | xargs)"
expect_eq "nothing outside" "" "$(ls ../escaped.txt 2>/dev/null)"
expect_eq "a command line it does not know exits 1" 1 "$(run plain.exe /x /s)"

# Through the window: the password typed into its box, Enter, the result shown.
wine window.exe > /dev/null 2>&1 &
app=$!
expect_shown "the window names the program" "window.exe" --class KestreliaSelfExtractor
expect_shown "and its default folder beside it" 'C:\kestrelia_e2e_sfx\alone\window"' --class KestreliaSelfExtractor
focus "Self-extracting archive"
screenshot window
xdotool type --delay 40 'open sesame'
xdotool key Return
expect_shown "the window tells the result" "files extracted to" --class KestreliaSelfExtractor
screenshot window_done
expect_same_tree "the window writes every entry beside the program" ../src window
inspect --class KestreliaSelfExtractor --close >/dev/null
code=0
wait "$app" || code=$?
expect_eq "the window's exit code" 0 "$code"

# From the window: File > Make self-extracting archive on the open archive, no password, the
# target typed into the save dialog; the made program opens its own window.
cd "$work"
start_program "$(winpath "$work/plain.zip")"
inspect --wait 60 --until-rows 3 >/dev/null
focus "Kestrelia: .*"
xdotool key alt+f
eventually 30 menus_open 1
xdotool key m
out=$(inspect --class '#32770' --wait 30)
screenshot password_question
expect_contains "the window asks about a password" "Protect the self-extracting archive" "$out"
inspect --class '#32770' --no >/dev/null
wait_dialog "Save self-extracting archive as" >/dev/null || true
focus "Save self-extracting archive as"
xdotool type --delay 40 'C:\kestrelia_e2e_sfx\menu.exe'
xdotool key Return
out=$(inspect --class '#32770' --title "Successful operation" --wait 60)
screenshot made
expect_contains "the window says it was made" "The self-extracting archive was created:" "$out"
inspect --class '#32770' --title "Successful operation" --close >/dev/null
expect_eq "the made program holds the archive" 0 "$(run menu.exe /s /d 'C:\kestrelia_e2e_sfx\out_menu')"
expect_same_tree "its entries" src out_menu
stop_program
wine "$work/menu.exe" > /dev/null 2>&1 &
app=$!
expect_shown "the made program's window" "menu.exe" --class KestreliaSelfExtractor
screenshot made_program_window
inspect --class KestreliaSelfExtractor --close >/dev/null
wait "$app" || true
cd /
finish
