#!/usr/bin/env bash
# Runs a Windows program under Wine with the build tree's own prefix, quietly.
# The prefix defaults to build/wineprefix beside this script's project; callers may set
# KESTRELIA_WINEPREFIX to share one.
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX=${KESTRELIA_WINEPREFIX:-$here/build/wineprefix}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
export WINEARCH=win64
exec wine "$@"
