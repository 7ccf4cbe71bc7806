#!/usr/bin/env bash
# Builds expat's static library for the Windows target once per source version and recipe into
# a shared cache folder, so fresh build trees only link against it (xml.dll uses it).
#
#   build-expat.sh SRC OUT TOOLCHAIN
#
# OUT receives include/expat.h, include/expat_external.h and lib/libexpat.a.
set -euo pipefail
src=$1 out=$2 toolchain=$3

[ -f "$out/.built" ] && exit 0
mkdir -p "$(dirname "$out")"
exec 9>"$out.lock"
flock 9
[ -f "$out/.built" ] && exit 0

work=$out.work
rm -rf "$work" && mkdir -p "$work/build"
echo "== building expat into $out (once per version)"
# The Debian source tree keeps the library one folder down.
[ -f "$src/expat/CMakeLists.txt" ] && src=$src/expat
cmake -S "$src" -B "$work/build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_C_COMPILER_LAUNCHER= -DEXPAT_SHARED_LIBS=OFF -DEXPAT_BUILD_TOOLS=OFF \
  -DEXPAT_BUILD_EXAMPLES=OFF -DEXPAT_BUILD_TESTS=OFF -DEXPAT_BUILD_DOCS=OFF \
  -DEXPAT_BUILD_PKGCONFIG=OFF -DEXPAT_BUILD_FUZZERS=OFF \
  >"$work/configure.log" 2>&1 || { tail -40 "$work/configure.log"; exit 1; }
# Debian's security fixes test "#if XML_DTD == 1", as its own (autotools) build defines it;
# the CMake template defines it empty.
sed -i 's/^#define XML_DTD$/#define XML_DTD 1/' "$work/build/expat_config.h"
grep -q '^#define XML_DTD 1$' "$work/build/expat_config.h" || { echo "expat: XML_DTD not set" >&2; exit 1; }
cmake --build "$work/build" -j2 >"$work/build.log" 2>&1 || { tail -40 "$work/build.log"; exit 1; }

stage=$work/out
mkdir -p "$stage/include" "$stage/lib"
cp "$src/lib/expat.h" "$src/lib/expat_external.h" "$stage/include/"
lib=$(ls "$work"/build/libexpat*.a | head -1)
cp "$lib" "$stage/lib/libexpat.a"
touch "$stage/.built"
rm -rf "$out" && mv "$stage" "$out" && rm -rf "$work"
