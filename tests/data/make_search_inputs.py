#!/usr/bin/env python3
"""Makes the archives the content search tests read.

    make_search_inputs.py OUTDIR

search.zip (made by zip from a sorted list, so archive order is known):
  ordinal 0 a.txt        no hit
  ordinal 1 b.txt        "kestrelneedle" followed by a full stop
  (folder entry d/ has no ordinal)
  ordinal 2 d/c.txt      the word only after a zero byte
  ordinal 3 d/e.txt      the word in upper case at the very end
  ordinal 4 d/f.txt      the word across the 64 KiB seam of the search's chunks
  ordinal 5 g.txt        "xkestrelneedley": a hit without whole word only
search.tar.gz, search.iso, search.rar: the same files by tar, xorriso and rar; files/ keeps
them to compare.
huge.zip: one small entry whose headers declare an uncompressed size of almost 4 GiB.
secret.zip (zip -P), aes.zip (7zz, AES-256), secret.rar (rar -p): the files under the password
"right".
damaged.zip: stored.txt and deflated.txt, one byte of each entry's data altered.
cut.tar: the files by tar, cut short inside d/f.txt.
scroll.zip: 300 entries n000.txt..n299.txt, the word in n250.txt and n280.txt only, so a hit
lies below the first screen of rows.
"""
import os
import shutil
import struct
import subprocess
import sys
import zipfile

from make_rar_inputs import RAR

out = sys.argv[1]
shutil.rmtree(out, ignore_errors=True)
src = os.path.join(out, "src")
os.makedirs(os.path.join(src, "d"))

seam = 65536
files = {
    "a.txt": b"nothing to see here\n" * 50,
    "b.txt": b"the kestrelneedle.\n",
    "d/c.txt": b"before\0kestrelneedle\n",
    "d/e.txt": b"ends with KESTRELNEEDLE",
    "d/f.txt": b"w" * (seam - 6) + b" kestrelneedle " + b"w" * 1000,
    "g.txt": b"xkestrelneedley\n",
}
for name, data in files.items():
    with open(os.path.join(src, name), "wb") as f:
        f.write(data)
names = ["a.txt", "b.txt", "d/", "d/c.txt", "d/e.txt", "d/f.txt", "g.txt"]
subprocess.run(["zip", "-q", "-6", os.path.join(out, "search.zip"), "-@"], cwd=src, check=True,
               input="\n".join(names).encode())
subprocess.run(["tar", "--no-recursion", "-czf", os.path.join(out, "search.tar.gz"), "-T", "-"], cwd=src,
               check=True, input="\n".join(names).encode())
subprocess.run(["xorriso", "-as", "mkisofs", "-quiet", "-R", "-J", "-o", os.path.join(out, "search.iso"), src],
               check=True, stderr=subprocess.DEVNULL)
for archive, switches in [("search.rar", []), ("secret.rar", ["-pright"])]:
    # Named one by one: with -r rar takes the folder's own order, not the other archives'.
    subprocess.run([RAR, "a", "-idq"] + switches + [os.path.join(out, archive)] + [n for n in names if n[-1] != "/"],
                   cwd=src, check=True, stdout=subprocess.DEVNULL)
subprocess.run(["zip", "-q", "-P", "right", os.path.join(out, "secret.zip"), "-@"], cwd=src, check=True,
               input="\n".join(names).encode())
subprocess.run(["7zz", "a", "-tzip", "-bd", "-bso0", "-mem=AES256", "-pright", os.path.join(out, "aes.zip")]
               + names, cwd=src, check=True)

damaged = os.path.join(out, "damaged.zip")
body = b"a line that the damage lands in the middle of\n" * 40
with zipfile.ZipFile(damaged, "w") as z:
    z.writestr("stored.txt", body, zipfile.ZIP_STORED)
    z.writestr("deflated.txt", body, zipfile.ZIP_DEFLATED)
raw = bytearray(open(damaged, "rb").read())
with zipfile.ZipFile(damaged) as z:
    for info in z.infolist():
        start = info.header_offset + 30 + len(info.filename.encode()) + len(info.extra)
        raw[start + info.compress_size // 2] ^= 0x55
open(damaged, "wb").write(raw)
shutil.copytree(src, os.path.join(out, "files"))
cut = os.path.join(out, "cut.tar")
subprocess.run(["tar", "--no-recursion", "-cf", cut, "-T", "-"], cwd=src, check=True,
               input="\n".join(names).encode())
raw = open(cut, "rb").read()
open(cut, "wb").write(raw[:raw.find(b"w" * 512) + 30000])

huge = os.path.join(out, "huge.zip")
with zipfile.ZipFile(huge, "w", zipfile.ZIP_DEFLATED) as z:
    z.writestr("huge.txt", b"a small entry that lies about its size: kestrelneedle\n")
raw = bytearray(open(huge, "rb").read())
declared = 0xFFFFFFF0
local = raw.find(b"PK\x03\x04")
struct.pack_into("<I", raw, local + 22, declared)
central = raw.find(b"PK\x01\x02")
struct.pack_into("<I", raw, central + 24, declared)
open(huge, "wb").write(raw)
shutil.rmtree(src)

os.makedirs(src)
names = []
for i in range(300):
    name = "n%03d.txt" % i
    body = b"filler line of an entry\n" * 20
    if i in (250, 280):
        body += b"the kestrelneedle is here\n"
    with open(os.path.join(src, name), "wb") as f:
        f.write(body)
    names.append(name)
subprocess.run(["zip", "-q", "-6", os.path.join(out, "scroll.zip"), "-@"], cwd=src, check=True,
               input="\n".join(names).encode())
shutil.rmtree(src)
