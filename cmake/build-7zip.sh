#!/usr/bin/env bash
# Builds the 7z reading code of the 7-Zip sources (the 7z handler with its decoders, filters and
# AES) into a static library for the Windows target, once per source version and recipe into a
# shared cache folder. sevenzip.dll links all of it: the handler and the codecs register
# themselves through static constructors, which nothing references by name.
#
#   build-7zip.sh SRC OUT
#
# OUT receives lib/lib7zip.a. The object list is the one of the sources' own extract-only 7z
# bundle (CPP/7zip/Bundles/Format7zExtract/makefile and the .mak files it includes), with the
# C versions of the units that bundle takes from assembler: no assembler is needed here.
set -euo pipefail
src=$1 out=$2
cc=${KESTRELIA_MINGW_CC:-x86_64-w64-mingw32-gcc-posix}
cxx=${KESTRELIA_MINGW_CXX:-x86_64-w64-mingw32-g++-posix}

[ -f "$out/.built" ] && exit 0
mkdir -p "$(dirname "$out")"
exec 9>"$out.lock"
flock 9
[ -f "$out/.built" ] && exit 0

work=$out.work
mkdir -p "$work/obj"
echo "== building the 7z library into $out (once per version)"
start=$(date +%s)

bundle=$src/CPP/7zip/Bundles/Format7zExtract/makefile
[ -f "$bundle" ] || { echo "7zip: $bundle missing" >&2; exit 1; }
mak=$src/CPP/7zip
names=$(cat "$bundle" "$mak/Aes.mak" "$mak/Crc.mak" "$mak/Sha256.mak" |
        grep -o '\$O\\[A-Za-z0-9_]*\.obj' | sed 's/^\$O\\//; s/\.obj$//' | sort -u)
[ -n "$names" ] || { echo "7zip: no object list in $bundle" >&2; exit 1; }

dirs=("$src/C" "$src/CPP/Common" "$src/CPP/Windows" "$src/CPP/7zip/Common" "$src/CPP/7zip/Archive"
      "$src/CPP/7zip/Archive/Common" "$src/CPP/7zip/Archive/7z" "$src/CPP/7zip/Compress" "$src/CPP/7zip/Crypto")
flags=(-O2 -DNDEBUG -D_REENTRANT -DZ7_EXTRACT_ONLY -w)
objects=()
for name in $names; do
  source=
  for d in "${dirs[@]}"; do
    for ext in c cpp; do
      [ -f "$d/$name.$ext" ] && { source=$d/$name.$ext; break 2; }
    done
  done
  [ -n "$source" ] || { echo "7zip: no source for $name" >&2; exit 1; }
  o=$work/obj/$name.o
  objects+=("$o")
  [ -f "$o" ] && continue  # kept from an interrupted run
  compiler=$cxx
  [ "${source##*.}" = c ] && compiler=$cc
  # Two at a time: the machines this builds on are small and shared.
  while [ "$(jobs -rp | wc -l)" -ge 2 ]; do wait -n || true; done
  (nice "$compiler" "${flags[@]}" -c "$source" -o "$o.tmp" 2>"$o.log" && mv "$o.tmp" "$o") &
done
wait || true
missing=0
for o in "${objects[@]}"; do
  [ -f "$o" ] && continue
  echo "7zip: $(basename "${o%.o}") did not compile:" >&2
  head -30 "$o.log" >&2
  missing=1
done
[ $missing -eq 0 ] || exit 1

stage=$work/out
rm -rf "$stage" && mkdir -p "$stage/lib"
x86_64-w64-mingw32-ar rcs "$stage/lib/lib7zip.a" "${objects[@]}"
echo "$src" >"$stage/source"
echo "== the 7z library took $(( $(date +%s) - start )) s"
touch "$stage/.built"
rm -rf "$out" && mv "$stage" "$out" && rm -rf "$work"
