#!/usr/bin/env bash
# The zip64 boundary of creation, run on demand (not by ctest: two sparse inputs of 4 GiB are
# read and deflated, a few minutes): a file of 4 GiB, and one of a byte less, are written with
# the zip64 extra field in their local header (a size of 0xFFFFFFFF needs it), one of 4 GiB
# less 1 MiB and a byte without it, and every archive passes `unzip -t` and `7zz t`.
#   bash tests/manual/zip64_boundary.sh [scratch dir]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"
scratch=$(mktemp -d "${1:-/tmp}/kestrelia_zip64.XXXX")
trap 'kestrelia_wine_down; rm -rf "$scratch"' EXIT
cmake --build "$build" -j2 --target createengine >/dev/null
kestrelia_wine_up

failed=0
for size in 4294967296 4294967295 4293918719; do
  mkdir "$scratch/$size"
  truncate -s "$size" "$scratch/$size/zeros.bin"
  wine "$build/bin/createengine.exe" "$(winepath -w "$scratch/$size")" "$(winepath -w "$scratch/$size.zip")" 6
  rm -rf "${scratch:?}/$size"
  python3 - "$scratch/$size.zip" "$size" <<'PY' || failed=1
import struct, sys, zipfile
path, size = sys.argv[1], int(sys.argv[2])
info = zipfile.ZipFile(path).getinfo("zeros.bin")
with open(path, "rb") as f:
    f.seek(info.header_offset)
    header = f.read(30)
    name_length, extra_length = struct.unpack("<HH", header[26:30])
    f.seek(name_length, 1)
    extra = f.read(extra_length)
ids = []
while len(extra) >= 4:
    tag, length = struct.unpack("<HH", extra[:4])
    ids.append(tag)
    extra = extra[4 + length:]
zip64 = 1 in ids
want = size >= (1 << 32) - (1 << 20)
print("%d bytes: size in the archive %d, zip64 in the local header: %s" % (size, info.file_size, zip64))
sys.exit(0 if zip64 == want and info.file_size == size else 1)
PY
  unzip -tq "$scratch/$size.zip" || failed=1
  7zz t -bd "$scratch/$size.zip" >/dev/null || { echo "7zz t failed on $size"; failed=1; }
  rm -f "$scratch/$size.zip"
done
[ "$failed" = 0 ] && echo "zip64 boundary: ok" || { echo "zip64 boundary: FAILED"; exit 1; }
