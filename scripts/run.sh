#!/usr/bin/env bash
# Builds the program and runs it headless on a sample archive: the window is shown on a
# virtual display, a screenshot is saved, and what the window lists is printed.
#   scripts/run.sh [archive]       (default: a sample archive made with zip)
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
kestrelia_build
archive=${1:-}
if [ -z "$archive" ]; then
  archive=$("$root/scripts/make_sample.sh" "$build/sample")
fi
trap 'kestrelia_wine_down; kestrelia_display_down' EXIT
kestrelia_display_up
kestrelia_wine_up
shot=$build/screenshot.png
wine "$build/bin/Kestrelia.exe" "$(winepath -w "$archive")" &
app=$!
# Waits until the list shows rows and the title names the archive (an empty archive waits
# the full minute and is still shown).
wine "$build/bin/wininspect.exe" --wait 60 --until-rows 1 --until-title "$(basename "$archive")" --rows 20 \
  > "$build/window.txt" || true
import -display "$DISPLAY" -window root "$shot" 2>/dev/null || true
wine "$build/bin/wininspect.exe" --rows 20 --close > "$build/window.txt" || true
wait "$app" || true
cat "$build/window.txt"
echo "screenshot: $shot"
