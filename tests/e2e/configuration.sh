#!/usr/bin/env bash
# The configuration dialog as a person uses it: every control set on its page, OK; the
# registry holds it, the window speaks the new language at once, and after a restart the
# dialog shows every choice again. Cancel changes nothing, and giving the ZIP types back puts
# back the program that had them.
source "$(dirname "${BASH_SOURCE[0]}")/e2e_lib.sh"
key='HKCU\Software\Kestrelia'
zipkey='HKCU\Software\Classes\.zip'
configuration=4022
dialog=(--class '#32770' --title)

reg_value() { wine reg query "$1" /v "$2" 2>/dev/null | tr -d '\r' | awk -v n="$2" '$1 == n {print $3}'; }
reg_default() { wine reg query "$1" /ve 2>/dev/null | tr -d '\r' | awk '/REG_SZ/ {print $3}'; }

# answer_password TEXT: the history asks for its password; TEXT is typed and OK pressed.
answer_password() {
  eventually 60 shows 'window "Kestrelia"' --class '#32770' --title Kestrelia
  inspect --class '#32770' --title Kestrelia --set 12003 "$1" --set 12004 1 >/dev/null
}

wine reg delete "$key" /f >/dev/null 2>&1
wine reg add "$zipkey" /ve /d OtherApp.zip /f >/dev/null 2>&1
rm -rf "$WINEPREFIX"/drive_c/users/*/AppData/Roaming/Kestrelia

start_program
inspect --wait 60 >/dev/null
eventually 30 window_titled Kestrelia
inspect --command $configuration >/dev/null
wait_dialog Configuration >/dev/null
# Page by page, as the tabs show them: General, View, Extraction, Drag and drop, Viewers,
# History, Updates. Every option's box is ticked (all are clear in a fresh configuration).
inspect "${dialog[@]}" Configuration --set 3200 0 --set 3203 1 --set 3204 3 --set 3205 1 \
  --set 3240 1 --set 3241 1 --set 3242 1 --set 3220 1 >/dev/null
screenshot configuration_general
inspect "${dialog[@]}" Configuration --set 3200 1 --set 3207 112233 --set 3209 445566 --set 3243 1 --set 3244 1 >/dev/null
# The mark for files from downloaded archives is on in a fresh configuration.
inspect "${dialog[@]}" Configuration --set 3200 2 --set 3245 1 --set 3258 1 >/dev/null
inspect "${dialog[@]}" Configuration --set 3200 3 --set 3246 1 --set 3247 1 --set 3248 1 >/dev/null
inspect "${dialog[@]}" Configuration --set 3200 4 --set 3249 1 --set 3250 1 --set 3251 1 --set 3252 1 --set 3253 1 \
  --set 3254 1 --set 3213 1 --set 3214 250 --set 3211 'C:\jad\jad.exe' >/dev/null
screenshot configuration_viewers
inspect "${dialog[@]}" Configuration --set 3200 5 --set 3255 1 --set 3256 1 >/dev/null
inspect "${dialog[@]}" Configuration --set 3200 6 --set 3257 1 --ok >/dev/null
answer_password kestrel
wait_gone '#32770' Kestrelia

all_bits=$((0x2EFBFF3))
expect_eq "the option word holds every option and level 3" "$all_bits" "$(($(reg_value "$key" configuration)))"
expect_eq "top menu colour" 0x332211 "$(reg_value "$key" ColorMenuHigh)"
expect_eq "bottom menu colour" 0x665544 "$(reg_value "$key" ColorMenuLow)"
expect_eq "picture size" 0xfa "$(reg_value "$key" MinPicSize)"
expect_eq "language" 0x7 "$(reg_value "$key" language)"
expect_contains "the class-file program" 'C:\jad\jad.exe' "$(wine reg query "$key" /v JadPath 2>/dev/null)"
expect_eq "ZIP archives open with Kestrelia" ZipFile "$(reg_default "$zipkey")"
expect_eq "so do .war files" ZipFile "$(reg_default 'HKCU\Software\Classes\.war')"
# The language and the menu style apply at once: the menus, now drawn by the program, answer
# their German letters, and the dialog opened again speaks German.
xdotool windowactivate --sync "$(xdotool search --name '^Kestrelia$' | head -1)" 2>/dev/null
xdotool key alt+x
eventually 30 menus_open 1
screenshot modern_menu
xdotool key k
expect_shown "the new language at once" 'window "Konfiguration"' --class '#32770'
inspect "${dialog[@]}" Konfiguration --close >/dev/null
wait_gone '#32770' Konfiguration
stop_program

start_program
answer_password kestrel
inspect --wait 60 >/dev/null
eventually 30 window_titled Kestrelia
inspect --command $configuration >/dev/null
wait_dialog Konfiguration >/dev/null
out=$(inspect "${dialog[@]}" Konfiguration)
echo "$out" >"$shots/restarted.txt"
screenshot configuration_restarted
ticked=$(LC_ALL=C grep -c '^control Button ".*" checked' <<<"$out")
# 19 options, TAR preferred, the picture size box, the ZIP types.
expect_eq "every box is ticked again" 22 "$ticked"
expect_contains "the level" 'control ComboBox "3"' "$out"
expect_contains "the language" 'control ComboBox "Deutsch"' "$out"
expect_contains "the colour" 'control Edit "112233"' "$out"
expect_contains "the picture size" 'control Edit "250"' "$out"

# Cancel: boxes cleared and another level chosen, and nothing of it stays.
inspect "${dialog[@]}" Konfiguration --set 3240 0 --set 3204 0 --set 3207 '' --close >/dev/null
wait_gone '#32770' Konfiguration
expect_eq "Cancel keeps the option word" "$all_bits" "$(($(reg_value "$key" configuration)))"
expect_eq "Cancel keeps the colour" 0x332211 "$(reg_value "$key" ColorMenuHigh)"

# The ZIP types given back: the program that had .zip before has it again; .war had none.
inspect --command $configuration >/dev/null
wait_dialog Konfiguration >/dev/null
inspect "${dialog[@]}" Konfiguration --set 3220 0 --set 3213 0 --ok >/dev/null
wait_gone '#32770' Konfiguration
expect_eq ".zip back to its owner" OtherApp.zip "$(reg_default "$zipkey")"
expect_eq ".war back to none" "" "$(reg_default 'HKCU\Software\Classes\.war')"
expect_eq "a cleared picture size is removed" "" "$(reg_value "$key" MinPicSize)"
stop_program

wine reg delete "$key" /f >/dev/null 2>&1
wine reg delete "$zipkey" /f >/dev/null 2>&1
finish
