#!/usr/bin/env bash
# Builds unrar.dll, the UnRAR library with its published API, for the Windows target from the
# unrar-nonfree source tree, once per source version and recipe into a shared cache folder.
#
#   build-unrar.sh SRC OUT
#
# OUT receives unrar.dll. The library's own Windows build is a Visual C++ project; this is
# the same list of sources and definitions for the mingw compiler, with the few things that
# compiler lacks supplied from shim/ (made here, beside the objects).
set -euo pipefail
src=$1 out=$2
cxx=${KESTRELIA_MINGW_CXX:-x86_64-w64-mingw32-g++-posix}

[ -f "$out/.built" ] && exit 0
mkdir -p "$(dirname "$out")"
exec 9>"$out.lock"
flock 9
[ -f "$out/.built" ] && exit 0

work=$out.work
rm -rf "$work" && mkdir -p "$work/obj" "$work/shim"
echo "== building unrar.dll into $out (once per version)"

# The sources name two SDK headers in mixed case; the mingw headers are lower case and the
# file system here tells the two apart.
echo '#include <powrprof.h>' >"$work/shim/PowrProf.h"
echo '#include <wbemidl.h>' >"$work/shim/Wbemidl.h"
# _bstr_t converts narrow strings through these two, which Visual C++ keeps in a support
# library that mingw does not have. The library only builds one wide string from a literal.
cat >"$work/shim/comsupp.cpp" <<'CPP'
#include <windows.h>
#include <oleauto.h>
#include <comutil.h>
namespace _com_util {
BSTR WINAPI ConvertStringToBSTR(const char* text) {
  if (!text) return nullptr;
  int n = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
  if (n <= 0) return nullptr;
  BSTR wide = SysAllocStringLen(nullptr, n - 1);
  if (wide) MultiByteToWideChar(CP_ACP, 0, text, -1, wide, n);
  return wide;
}
char* WINAPI ConvertBSTRToString(BSTR wide) {
  if (!wide) return nullptr;
  int n = WideCharToMultiByte(CP_ACP, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  if (n <= 0) return nullptr;
  char* text = new char[n];
  WideCharToMultiByte(CP_ACP, 0, wide, -1, text, n, nullptr, nullptr);
  return text;
}
}  // namespace _com_util
CPP

# The source list of the library's own Windows project (UnRARDll.vcxproj).
sources=$(grep -o 'ClCompile Include="[^"]*\.cpp"' "$src/UnRARDll.vcxproj" | sed 's/.*Include="\([^"]*\)"/\1/' | sort -u)
[ -n "$sources" ] || { echo "unrar: no source list in UnRARDll.vcxproj" >&2; exit 1; }
flags=(-O2 -DRARDLL -DUNRAR -DSILENT -I"$work/shim" -I"$src" -w)
# Two at a time: the machines this builds on are small and shared.
objects=()
for f in $sources; do
  o=$work/obj/${f%.cpp}.o
  objects+=("$o")
  while [ "$(jobs -rp | wc -l)" -ge 2 ]; do wait -n || true; done
  nice "$cxx" "${flags[@]}" -c "$src/$f" -o "$o" 2>"$o.log" &
done
wait || true
missing=0
for o in "${objects[@]}"; do
  [ -f "$o" ] && continue
  echo "unrar: $(basename "${o%.o}").cpp did not compile:" >&2
  head -30 "$o.log" >&2
  missing=1
done
[ $missing -eq 0 ] || exit 1
"$cxx" -O2 -I"$work/shim" -c "$work/shim/comsupp.cpp" -o "$work/obj/comsupp.o" 2>>"$work/build.log" ||
  { tail -20 "$work/build.log" >&2; exit 1; }

stage=$work/out
mkdir -p "$stage"
"$cxx" -shared -static -static-libgcc -static-libstdc++ -o "$stage/unrar.dll" "$src/dll.def" \
  "${objects[@]}" "$work/obj/comsupp.o" -lole32 -loleaut32 -lwbemuuid -lpowrprof -lshlwapi -ladvapi32 \
  -luser32 -lshell32 2>>"$work/build.log" || { tail -40 "$work/build.log" >&2; exit 1; }
x86_64-w64-mingw32-strip "$stage/unrar.dll"
touch "$stage/.built"
rm -rf "$out" && mv "$stage" "$out" && rm -rf "$work"
