# Shared pieces of the end-to-end tests: start the real program on the test display, read
# its window with wininspect, take screenshots, count failures.
set -u
bin=${KESTRELIA_BIN:?}
shots=${KESTRELIA_SHOTS:-/tmp/kestrelia-shots}
mkdir -p "$shots"
failures=0

winpath() { winepath -w "$1" 2>/dev/null; }

# The title of the folder chooser every extraction asks through.
picker="Choose the folder to extract to:"

# fresh_work NAME: $work is an empty folder NAME on the prefix's drive C, removed at the end.
fresh_work() {
  work=${WINEPREFIX:?}/drive_c/$1
  rm -rf "$work"
  mkdir -p "$work"
  trap 'rm -rf "$work"' EXIT
}

# start_program ARGS...: runs Kestrelia.exe in the background, its pid in $app.
start_program() {
  wine "$bin/Kestrelia.exe" "$@" > "$shots/program.out" 2>&1 &
  app=$!
}

inspect() { wine "$bin/wininspect.exe" "$@" 2>/dev/null | tr -d '\r'; }

# eventually SECONDS COMMAND...: runs COMMAND until it succeeds, for at most SECONDS. How long
# the window takes to get there is the machine's business; the script only says what it waits for.
eventually() {
  local end=$((SECONDS + $1))
  shift
  until "$@"; do
    if [ "$SECONDS" -ge "$end" ]; then
      echo "gave up waiting for: $*" >&2
      return 1
    fi
    sleep 0.25
  done
}

# shows TEXT [WININSPECT ARGS...]: the window, as wininspect reads it, holds TEXT.
shows() {
  local text=$1
  shift
  grep -qF -- "$text" <<<"$(inspect "$@")"
}

# expect_shown LABEL TEXT [WININSPECT ARGS...]: the window comes to show TEXT (waited for, as
# everything the window does takes the machine's time).
expect_shown() {
  local label=$1
  shift
  if eventually 30 shows "$@"; then
    echo "ok: $label"
  else
    echo "FAIL: $label: [$1] not shown:"
    inspect "${@:2}" | head -20
    failures=$((failures + 1))
  fi
}

# menus_open N: at least N menus are open.
menus_open() {
  local n
  n=$(inspect --count '#32768' | awk '{print $NF}')
  [ "${n:-0}" -ge "$1" ]
}

# window_titled TITLE / window_gone TITLE: a top-level window of exactly that title is / is not there.
window_titled() { xdotool search --name "^$1\$" >/dev/null 2>&1; }
window_gone() { ! window_titled "$1"; }

screenshot() { import -display "$DISPLAY" -window root "$shots/$1.png" 2>/dev/null || true; }

# focus TITLE: a window without an owner gets no focus on a display without a window
# manager; give it the keyboard.
focus() {
  local id
  id=$(xdotool search --name "^$1\$" 2>/dev/null | tail -1)
  [ -n "$id" ] && xdotool windowfocus --sync "$id" 2>/dev/null
  return 0
}

# wait_dialog TITLE: waits until a dialog of that title is shown; its text on stdout.
wait_dialog() {
  eventually 60 shows "window \"$1" --class '#32770' && inspect --class '#32770'
}

# until_shown TEXT: waits until the window shows TEXT; what it shows (rows, tree items) on stdout.
until_shown() {
  eventually 60 shows "$1" --rows 20
  inspect --rows 20
}

# choose_folder PATH: the folder chooser comes, and the path is typed into it as a person
# pastes one.
choose_folder() {
  wait_dialog "$picker" >/dev/null || true
  focus "$picker"
  xdotool type --delay 40 "$1"
  xdotool key Return
}

# expect_box LABEL TEXT SHOT: the next message box holds TEXT; screenshot SHOT, then close it.
expect_box() {
  local out
  out=$(inspect --class '#32770' --wait 30)
  screenshot "$3"
  expect_contains "$1" "$2" "$out"
  inspect --class '#32770' --close >/dev/null 2>&1
}

# wait_gone CLASS [TITLE]: waits until no window of that class (and title) is shown (a closed
# dialog takes a moment to go, and the window refuses to close while its operation still runs).
wait_gone() {
  local which=(--class "$1" ${2:+--title "$2"})
  [ "$(inspect "${which[@]}" --until-gone --wait 60)" = gone ] && return 0
  screenshot "stays_$(tr -dc a-z0-9 <<<"$1$*")"
  echo "FAIL: a window $* stays: $(inspect "${which[@]}" | head -3 | tr '\n' ' ')"
  failures=$((failures + 1))
  return 1
}

# expect_exit LABEL: the program ends by itself (a minute at most, else it is killed) with 0.
expect_exit() {
  local code=0
  eventually 60 ended || { screenshot still_running; kill "$app"; }
  wait "$app" || code=$?
  expect_eq "$1" 0 "$code"
}

# expect_same_tree LABEL REF DIR: DIR holds exactly what the peer tool made in REF.
expect_same_tree() {
  if diff -r "$2" "$3" >"$shots/diff.txt"; then
    echo "ok: $1"
  else
    echo "FAIL: $1:"; cat "$shots/diff.txt"; failures=$((failures + 1))
  fi
}

# close_after_run: closes the window after a run whose results the script has already checked.
# The window stays busy a moment after its dialogs have gone, and a close then asks whether to
# cancel the run: the answer is Yes, and the window closes once the run has stopped.
close_after_run() {
  local code=0
  inspect --close >/dev/null
  eventually 60 answered_and_gone
  wait "$app" || code=$?
  expect_eq "exit code" 0 "$code"
}
ended() { ! kill -0 "$app" 2>/dev/null; }
answered_and_gone() {
  ended && return 0
  inspect --class '#32770' --yes >/dev/null
  return 1
}

# stop_program: closes the window and checks the exit code.
stop_program() {
  inspect --close >/dev/null
  local code=0
  wait "$app" || code=$?
  expect_eq "exit code" 0 "$code"
}

# What opening any archive kind shares: the folder tree, a selection extracted, "-x".
# show_tree FOLDER: View > Folder tree, until the tree shows FOLDER; the window's lines on stdout.
show_tree() {
  focus "Kestrelia: .*"
  xdotool key alt+v t
  until_shown "tree item $1 at"
}

# click_tree_item NAME LINES: a click on the folder NAME of the tree, where LINES (wininspect's)
# show it.
click_tree_item() {
  local x y
  read -r x y < <(grep "^tree item $1 at" <<<"$2" | awk '{print $(NF-1), $NF}')
  xdotool mousemove "$x" "$y" click 1
}

# select_top_rows N LINES: a click on the list's first row, where LINES show it, then
# Shift+Down to the Nth.
select_top_rows() {
  local x y i
  read -r x y < <(grep "^header 0 at" <<<"$2" | awk '{print $4, $5}')
  xdotool mousemove "$x" "$((y + 20))" click 1
  for ((i = 1; i < $1; i++)); do xdotool key shift+Down; done
  expect_shown "$1 rows selected" "list selected: $1" --rows 0
}

# extract_selection FOLDER FILE...: Ctrl+Shift+E into FOLDER (a Windows path), until every
# FILE is on the disk and the run's dialog has gone.
extract_selection() {
  local folder=$1 file
  shift
  xdotool key ctrl+shift+e
  choose_folder "$folder"
  for file in "$@"; do eventually 60 test -f "$file"; done
  inspect --class '#32770' --until-gone --wait 60 >/dev/null
}

# files_below DIR: the files below DIR, relative and sorted, on one line.
files_below() { (cd "$1" && find . -type f | sed 's|^\./||' | sort | tr '\n' ' ' | sed 's/ $//'); }

# extract_road ARCHIVE FOLDER: "-x ARCHIVE": the notice naming it, the chooser given FOLDER
# (a Windows path), and the program ends by itself.
extract_road() {
  start_program -x "$(winpath "$1")"
  expect_contains "the notice names the archive" "$(basename "$1")" "$(wait_dialog Kestrelia)"
  focus Kestrelia
  xdotool key Return
  choose_folder "$2"
  expect_exit "-x exit code"
}

expect_eq() {
  if [ "$2" != "$3" ]; then
    echo "FAIL: $1: expected [$2], got [$3]"
    failures=$((failures + 1))
  else
    echo "ok: $1"
  fi
}

expect_contains() {
  if ! grep -qF -- "$2" <<<"$3"; then
    echo "FAIL: $1: [$2] not in:"
    echo "$3" | head -20
    failures=$((failures + 1))
  else
    echo "ok: $1"
  fi
}

finish() {
  echo "screenshots in $shots"
  [ "$failures" -eq 0 ]
}
