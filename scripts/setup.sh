#!/usr/bin/env bash
# Installs everything a fresh Debian machine needs to build and test, then fetches and
# unpacks the third-party sources for the Windows target. Safe to run again: it only
# installs what is missing and only fetches a source package version once.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

packages=(
  g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix mingw-w64-x86-64-dev
  binutils-mingw-w64-x86-64 libz-mingw-w64-dev
  cmake googletest wine wine64 xvfb xauth imagemagick xdotool dpkg-dev patch
  zip unzip 7zip libarchive-tools xorriso gcab python3 fp-utils nsis
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "== installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq "${missing[@]}" >/dev/null
fi

"$root/scripts/deps.sh"
