#!/usr/bin/env bash
# Builds everything and runs every test under Wine (windowed ones on a virtual display).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
kestrelia_build
trap 'kestrelia_wine_down; kestrelia_display_down' EXIT
kestrelia_display_up
kestrelia_wine_up
cd "$build"
ctest --output-on-failure "$@"
