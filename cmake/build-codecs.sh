#!/usr/bin/env bash
# Builds the static libraries of the newer compression methods for the Windows target (liblzma
# for LZMA and XZ, libzstd for Zstandard, liblz4) once per source versions and recipe into a
# shared cache folder. The ZIP engine and libarchive both link these one builds.
#
#   build-codecs.sh XZ_SRC ZSTD_SRC LZ4_SRC OUT TOOLCHAIN
#
# OUT receives include/ (lzma.h and lzma/, zstd.h, zstd_errors.h, lz4.h, lz4hc.h, lz4frame.h)
# and lib/ (liblzma.a, libzstd.a, liblz4.a). liblzma's users define LZMA_API_STATIC.
set -euo pipefail
xz=$1 zstd=$2 lz4=$3 out=$4 toolchain=$5

[ -f "$out/.built" ] && exit 0
mkdir -p "$(dirname "$out")"
exec 9>"$out.lock"
flock 9
[ -f "$out/.built" ] && exit 0

work=$out.work
rm -rf "$work" && mkdir -p "$work/include" "$work/lib"
echo "== building liblzma, libzstd and liblz4 into $out (once per version)"

cmake -S "$xz" -B "$work/xz" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_C_COMPILER_LAUNCHER= -DCMAKE_CROSSCOMPILING_EMULATOR= -DBUILD_SHARED_LIBS=OFF -DENABLE_NLS=OFF \
  >"$work/xz-configure.log" 2>&1 || { tail -40 "$work/xz-configure.log"; exit 1; }
cmake --build "$work/xz" --target liblzma -j2 >"$work/xz-build.log" 2>&1 || { tail -40 "$work/xz-build.log"; exit 1; }
cp "$work/xz/liblzma.a" "$work/lib/"
cp -r "$xz/src/liblzma/api/lzma.h" "$xz/src/liblzma/api/lzma" "$work/include/"

cc=x86_64-w64-mingw32-gcc-posix
# Compiles every C file named into one static library, two at a time.
archive() {
  local name=$1; shift
  mkdir -p "$work/$name"
  printf '%s\n' "$@" | xargs -P2 -I{} sh -c 'f={}; o='"$work/$name"'/$(echo "$f" | tr / _).o; '"$cc"' -O2 -w '"$CODEC_FLAGS"' -c "$f" -o "$o"'
  x86_64-w64-mingw32-ar rcs "$work/lib/lib$name.a" "$work/$name"/*.o
}
# The assembly decoder is for the System V calling convention only.
CODEC_FLAGS="-DZSTD_DISABLE_ASM -I$zstd/lib -I$zstd/lib/common" \
  archive zstd "$zstd"/lib/common/*.c "$zstd"/lib/compress/*.c "$zstd"/lib/decompress/*.c
cp "$zstd/lib/zstd.h" "$zstd/lib/zstd_errors.h" "$work/include/"
CODEC_FLAGS="-I$lz4/lib" archive lz4 "$lz4/lib/lz4.c" "$lz4/lib/lz4hc.c" "$lz4/lib/lz4frame.c" "$lz4/lib/xxhash.c"
cp "$lz4/lib/lz4.h" "$lz4/lib/lz4hc.h" "$lz4/lib/lz4frame.h" "$work/include/"

stage=$work/out
mkdir -p "$stage" && mv "$work/include" "$work/lib" "$stage/"
touch "$stage/.built"
rm -rf "$out" && mv "$stage" "$out" && rm -rf "$work"
