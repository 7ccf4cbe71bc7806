#!/usr/bin/env bash
# Builds libarchive's static library for the Windows target once per source version and set
# of options into a shared cache folder, so fresh build trees only link against it.
#
#   build-libarchive.sh SRC OUT TOOLCHAIN ZLIB_LIB ZLIB_INC BZIP2_LIB BZIP2_INC CODECS
#
# CODECS is build-codecs.sh's folder: xz, lzma, zstd and lz4 filters read and write through it.
#
# OUT receives include/archive.h, include/archive_entry.h, lib/libarchive.a and the
# configure result config.h (the benchmark's bsdtar.exe is compiled against it).
set -euo pipefail
src=$1 out=$2 toolchain=$3 zlib_lib=$4 zlib_inc=$5 bz_lib=$6 bz_inc=$7 codecs=$8

[ -f "$out/.built" ] && exit 0
mkdir -p "$(dirname "$out")"
exec 9>"$out.lock"
flock 9
# Another build tree may have finished it while this one waited for the lock.
[ -f "$out/.built" ] && exit 0

# The work folder survives a failed or interrupted run, so the next one resumes it.
work=$out.work
mkdir -p "$work/build"
echo "== building libarchive into $out (once per version)"
off=(ENABLE_OPENSSL ENABLE_MBEDTLS ENABLE_NETTLE ENABLE_LIBB2 ENABLE_LZO ENABLE_LIBXML2 ENABLE_EXPAT ENABLE_PCREPOSIX ENABLE_LIBGCC ENABLE_CNG
     ENABLE_TAR ENABLE_CPIO ENABLE_CAT ENABLE_XATTR ENABLE_ACL ENABLE_ICONV ENABLE_TEST
     ENABLE_INSTALL ENABLE_WERROR)
args=()
for o in "${off[@]}"; do args+=("-D$o=OFF"); done
# libarchive asks whether zlib was built with ZLIB_WINAPI by running a test program, which a
# cross build cannot do; the mingw zlib is a plain static cdecl build, so answer for it (the
# _WITH_LIB twin keeps the answer from being thrown away as stale).
# The checks' answers for this target come pre-made: without them the configure compiles some
# 500 test programs, most of a fresh build's time on a small machine.
cmake -C "$(dirname "${BASH_SOURCE[0]}")/libarchive-mingw-checks.cmake" \
  -S "$src" -B "$work/build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_C_COMPILER_LAUNCHER= -DCMAKE_CROSSCOMPILING_EMULATOR= \
  -DZLIB_LIBRARY="$zlib_lib" -DZLIB_INCLUDE_DIR="$zlib_inc" \
  -DZLIB_WINAPI=0 -DZLIB_WINAPI_WITH_LIB="$zlib_lib" \
  -DBZIP2_LIBRARIES="$bz_lib" -DBZIP2_LIBRARY_RELEASE="$bz_lib" -DBZIP2_INCLUDE_DIR="$bz_inc" \
  -DLIBLZMA_INCLUDE_DIR="$codecs/include" -DLIBLZMA_LIBRARY="$codecs/lib/liblzma.a" \
  -DZSTD_INCLUDE_DIR="$codecs/include" -DZSTD_LIBRARY="$codecs/lib/libzstd.a" \
  -DLZ4_INCLUDE_DIR="$codecs/include" -DLZ4_LIBRARY="$codecs/lib/liblz4.a" \
  -DCMAKE_C_FLAGS=-DLZMA_API_STATIC \
  -DPOSIX_REGEX_LIB=NONE -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=BOTH -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=BOTH \
  "${args[@]}" >"$work/configure.log" 2>&1 || { tail -40 "$work/configure.log"; exit 1; }
grep -q 'define HAVE_BZLIB_H 1' "$work/build/config.h" || { echo "libarchive: bzip2 not found" >&2; exit 1; }
for header in ZLIB_H LZMA_H ZSTD_H LZ4_H; do
  grep -q "define HAVE_$header 1" "$work/build/config.h" || { echo "libarchive: ${header%_H} not found" >&2; exit 1; }
done
cmake --build "$work/build" --target archive_static -j2 >"$work/build.log" 2>&1 ||
  { tail -40 "$work/build.log"; exit 1; }

stage=$work/out
rm -rf "$stage" && mkdir -p "$stage/include" "$stage/lib"
cp "$src/libarchive/archive.h" "$src/libarchive/archive_entry.h" "$stage/include/"
# Windows builds name it libarchive_static.a, others libarchive.a.
lib=$(ls "$work"/build/libarchive/libarchive_static.a "$work"/build/libarchive/libarchive.a 2>/dev/null | head -1 || true)
[ -n "$lib" ] || { echo "libarchive: no static library built" >&2; exit 1; }
cp "$lib" "$stage/lib/libarchive.a"
cp "$work/build/config.h" "$stage/"
touch "$stage/.built"
rm -rf "$out" && mv "$stage" "$out" && rm -rf "$work"
