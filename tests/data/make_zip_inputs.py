#!/usr/bin/env python3
"""Makes the ZIP archives the engine tests read, with the real peer tools (zip, 7zz) and
python's zipfile, and writes beside each archive NAME.list: one line per file entry,
"name<TAB>compressed<TAB>uncompressed<TAB>encrypted", as the peers report it (directory
entries left out; encrypted is "+" where 7zz says so, else empty).

    make_zip_inputs.py OUTDIR
"""
import os
import shutil
import struct
import subprocess
import sys
import zipfile
import zlib

from make_extract_inputs import run
from raw_zip import raw_zip


def tree(root):
    os.makedirs(os.path.join(root, "docs", "deep", "er"), exist_ok=True)
    os.makedirs(os.path.join(root, "empty_dir"), exist_ok=True)
    files = {
        "readme.txt": b"Kestrelia test archive\n",
        "docs/numbers.txt": "".join("%d\n" % i for i in range(3000)).encode(),
        "docs/deep/er/note.md": b"# note\n" * 40,
        "docs/zero.bin": b"",
        "noise.bin": os.urandom(5000),
        "Mixed Case Name.TXT": b"case\n",
    }
    for name, data in files.items():
        with open(os.path.join(root, name), "wb") as f:
            f.write(data)
        os.utime(os.path.join(root, name), (1709649000, 1709649000))  # 2024-03-05 14:30 UTC


def encrypted_by_7zz(path):
    """The names 7zz reports "Encrypted = +" for."""
    out = subprocess.run(["7zz", "l", "-slt", path], capture_output=True, text=True).stdout
    names, name = set(), None
    for line in out.splitlines():
        if line.startswith("Path = "):
            name = line[7:]
        elif line == "Encrypted = +":
            names.add(name)
    return names


def expected(path):
    """Entries as unzip names them, sizes as python's zipfile reads them (zip64 aware)."""
    names = subprocess.run(["unzip", "-Z1", path], capture_output=True, text=True).stdout.splitlines()
    encrypted = encrypted_by_7zz(path)
    with zipfile.ZipFile(path) as z:
        infos = {i.filename: i for i in z.infolist()}
    if not infos:
        names = []  # unzip says "Empty zipfile." instead
    assert sorted(names) == sorted(infos), "unzip and zipfile disagree on " + path
    rows = []
    for n in names:
        if n.endswith("/"):
            continue
        i = infos[n]
        rows.append("%s\t%d\t%d\t%s" % (n, i.compress_size, i.file_size, "+" if n in encrypted else ""))
    with open(path[:-4] + ".list", "w") as f:
        f.write("\n".join(rows) + ("\n" if rows else ""))
    # Directory entries add their sizes to the totals too.
    with open(path[:-4] + ".sums", "w") as f:
        f.write("%d %d\n" % (sum(i.compress_size for i in infos.values()), sum(i.file_size for i in infos.values())))


def crafted_zip64(path):
    """A stored entry whose central record claims 6,000,000,000 bytes through the zip64
    extra field: listing reads only the central directory, so the sizes are what counts."""
    name = b"huge/disk.img"
    data = b"tiny"
    crc = zlib.crc32(data)
    local = struct.pack("<IHHHHHIIIHH", 0x04034B50, 45, 0, 0, 0, 0, crc, 0xFFFFFFFF, 0xFFFFFFFF, len(name), 20)
    local += name + struct.pack("<HHQQ", 1, 16, 6000000000, 5000000000) + data
    extra = struct.pack("<HHQQ", 1, 16, 6000000000, 5000000000)
    central = struct.pack("<IHHHHHHIIIHHHHHII", 0x02014B50, 45, 45, 0, 0, 0, 0, crc, 0xFFFFFFFF, 0xFFFFFFFF,
                          len(name), len(extra), 0, 0, 0, 0, 0) + name + extra
    cd_offset = len(local)
    end = struct.pack("<IHHHHIIH", 0x06054B50, 0, 0, 1, 1, len(central), cd_offset, 0)
    with open(path, "wb") as f:
        f.write(local + central + end)
    with open(path[:-4] + ".list", "w") as f:
        f.write("huge/disk.img\t5000000000\t6000000000\t\n")
    with open(path[:-4] + ".sums", "w") as f:
        f.write("5000000000 6000000000\n")


def main(out):
    shutil.rmtree(out, ignore_errors=True)
    os.makedirs(out)
    src = os.path.join(out, "src")
    tree(src)
    made = []

    def zipped(name, *flags):
        path = os.path.join(out, name)
        run("zip", "-q", "-r", *flags, path, ".", cwd=src)
        made.append(path)

    zipped("zip_deflated.zip")
    zipped("zip_stored.zip", "-0")
    zipped("zip_encrypted.zip", "-P", "secret")
    # Only some entries need the password: the plain archive and one file added encrypted.
    path = os.path.join(out, "zip_partly_encrypted.zip")
    shutil.copy(os.path.join(out, "zip_deflated.zip"), path)
    run("zip", "-q", "-P", "secret", path, "readme.txt", cwd=src)
    made.append(path)
    run("7zz", "a", "-tzip", "-bd", "-bso0", os.path.join(out, "sevenzip.zip"), ".", cwd=src)
    made.append(os.path.join(out, "sevenzip.zip"))

    path = os.path.join(out, "python.zip")
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as z:
        z.writestr("a/b/c.txt", b"hello " * 100)
        z.writestr("a/", b"")
        z.writestr("top.txt", b"top")
        with z.open("forced64.bin", "w", force_zip64=True) as f:
            f.write(b"x" * 1000)
        z.comment = b"an archive comment"
    made.append(path)

    path = os.path.join(out, "empty.zip")
    zipfile.ZipFile(path, "w").close()
    made.append(path)

    # A ZIP under a name that says nothing, and one whose only bytes are an empty end record.
    shutil.copy(os.path.join(out, "zip_deflated.zip"), os.path.join(out, "unknown.dat"))
    shutil.copy(os.path.join(out, "empty.zip"), os.path.join(out, "pk56.bin"))
    with open(os.path.join(out, "plain.txt"), "w") as f:
        f.write("not an archive\n")

    # Damaged: the end record cut off.
    with open(os.path.join(out, "zip_deflated.zip"), "rb") as f:
        data = f.read()
    with open(os.path.join(out, "damaged.zip"), "wb") as f:
        f.write(data[: len(data) - 30])
    # A text file under a ZIP name, and a whole archive whose end record places its directory
    # past the end of the file.
    shutil.copy(os.path.join(out, "plain.txt"), os.path.join(out, "renamed_text.zip"))
    end = data.rindex(b"PK\x05\x06")
    with open(os.path.join(out, "bad_directory.zip"), "wb") as f:
        f.write(data[:end + 16] + struct.pack("<I", 0x7FFFFFF0) + data[end + 20:])

    # Names that reach outside the destination beside one that does not, each holding its name.
    raw_zip(os.path.join(out, "hostile.zip"), [dict(name=n.encode(), data=n.encode()) for n in
                                               ["good.txt", "../escaped.txt", "sub/../../escaped2.txt", "CON", "a:stream.txt"]])

    # Enough small entries that extracting them outlasts a close request.
    with zipfile.ZipFile(os.path.join(out, "many_small.zip"), "w", zipfile.ZIP_STORED) as z:
        for i in range(4000):
            z.writestr("many/%04d.txt" % i, b"entry %d\n" % i)

    for path in made:
        expected(path)
    crafted_zip64(os.path.join(out, "zip64_big.zip"))


if __name__ == "__main__":
    main(sys.argv[1])
