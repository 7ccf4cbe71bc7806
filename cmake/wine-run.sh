#!/usr/bin/env bash
# Runs a Windows program under Wine with the build tree's own prefix, quietly.
# The prefix defaults to <build tree>/wineprefix (KESTRELIA_BUILD, else build/); callers may
# set KESTRELIA_WINEPREFIX to pick another.
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX=${KESTRELIA_WINEPREFIX:-${KESTRELIA_BUILD:-$here/build}/wineprefix}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
export WINEARCH=win64
exec wine "$@"
