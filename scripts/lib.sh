# Shared pieces of the run and test scripts: build, a virtual display, a resident wineserver.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export KESTRELIA_BUILD=${KESTRELIA_BUILD:-$root/build}
build=$KESTRELIA_BUILD
export KESTRELIA_DEPS=${KESTRELIA_DEPS:-$root/build/deps}
export WINEPREFIX=${KESTRELIA_WINEPREFIX:-$build/wineprefix}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
export WINEARCH=win64
# Wine maps Unix file names through the locale's character set: without a UTF-8 one, names
# such as "Ärger über.txt" cannot be read or written by the program under test.
case "${LC_ALL:-${LC_CTYPE:-${LANG:-}}}" in
  *UTF-8* | *utf8* | *UTF8* | *utf-8*) ;;
  *) export LC_ALL=C.UTF-8 ;;
esac

# Any failing step fails the caller with the tool's own message: a compile error must never
# leave an older Kestrelia.exe to be tested. The progress lines are dropped from the output,
# and the build's status is taken from cmake itself, not from the filter.
kestrelia_build() {
  "$root/scripts/setup.sh" || { echo "setup failed" >&2; return 1; }
  cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DKESTRELIA_DEPS="$KESTRELIA_DEPS" >/dev/null ||
    { echo "cmake configuration failed" >&2; return 1; }
  local status
  { cmake --build "$build" -j"$(nproc)" 2>&1; echo "$?" >"$build/.build-status"; } |
    grep -vE '^\[ *[0-9]+%\]|^-- ' || true
  status=$(cat "$build/.build-status")
  [ "$status" = 0 ] || { echo "build failed (cmake --build exited $status)" >&2; return 1; }
  python3 "$root/scripts/check_layers.py" "$root" || { echo "layer check failed" >&2; return 1; }
}

# A fresh prefix boots once (several seconds); later starts reuse it.
kestrelia_wine_up() {
  if [ ! -f "$WINEPREFIX/system.reg" ]; then
    echo "== creating Wine prefix $WINEPREFIX"
    wineboot -i >/dev/null 2>&1 || true
  fi
  wineserver -p >/dev/null 2>&1 || true
  # There is no window manager on the virtual display. Wine draws the frames and captions
  # itself, so screenshots show them, and leaves its windows unmanaged: hiding a managed
  # window waits up to 2 s for a manager that never answers, on every dialog that closes.
  # Prefixes made before the second setting get it here too.
  if ! grep -q '^"Managed"="N"' "$WINEPREFIX/user.reg" 2>/dev/null; then
    wine reg add 'HKCU\Software\Wine\X11 Driver' /v Decorated /d N /f >/dev/null 2>&1 || true
    wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1 || true
  fi
  # Wine's own services start with the first program and keep its output pipes open; start
  # them here, detached, or ctest would wait on those pipes until its time-out.
  wine cmd.exe /c exit </dev/null >/dev/null 2>&1 || true
}

kestrelia_wine_down() {
  wineserver -k >/dev/null 2>&1 || true
}

# Starts Xvfb on a free display number and exports DISPLAY.
kestrelia_display_up() {
  # Xvfb picks a free display itself and says which (-displayfd): a display chosen here by
  # looking for a free number could be taken by another run starting at the same moment,
  # whose end would then close this run's display under its tests.
  local fifo n
  fifo=$(mktemp -u) && mkfifo "$fifo"
  Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$fifo" >/dev/null 2>&1 &
  KESTRELIA_XVFB_PID=$!
  n=$(timeout 20 head -1 "$fifo" || true)
  rm -f "$fifo"
  if [ -z "$n" ] || ! kill -0 "$KESTRELIA_XVFB_PID" 2>/dev/null; then
    echo "could not start Xvfb" >&2
    return 1
  fi
  export DISPLAY=":$n"
}

kestrelia_display_down() {
  [ -n "${KESTRELIA_XVFB_PID:-}" ] && kill "$KESTRELIA_XVFB_PID" 2>/dev/null || true
}
