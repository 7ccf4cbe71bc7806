#!/usr/bin/env python3
"""Makes the archives of the read-only kinds of iso.dll's walk (CAB, LZH, CPIO, AR, RPM) the
adapter tests read, and files whose names lie about their kind.

    make_kinds_inputs.py OUTDIR

CAB by gcab; CPIO and AR by bsdtar (names in several scripts, empty folders); a Debian package,
an RPM and an LZH are put together here from their parts. Beside each: <name>.expect, the files `7zz l -slt` lists (size
and path per line), and ref_<name>/, what `7zz x` made of it. Hostile and damaged archives,
and files whose names lie about their kind, are made here byte by byte.
"""
import gzip
import io
import os
import shutil
import struct
import subprocess
import sys
import zlib

from make_extract_inputs import run, write_files

UTF8 = dict(os.environ, LC_ALL="C.UTF-8")
def tree(root):
    code = bytes((i * 7 + (i >> 5)) & 0xFF for i in range(40000)) + b"\xe8\x00\x10\x00\x00" * 300
    write_files(root, {
        "readme.txt": (b"read only kinds\n", (2024, 3, 5, 14, 30, 12)),
        "docs/numbers.txt": ("".join("%d\n" % i for i in range(30000)).encode(), (2023, 7, 15, 9, 5, 0)),
        "docs/zero.bin": (b"", (2021, 1, 1, 0, 0, 0)),
        "data/random.bin": (os.urandom(150000), (2024, 8, 1, 23, 59, 58)),
        "prog/tool.exe": (code, (2022, 2, 2, 2, 2, 2)),
        "Größe/Übersicht.txt": (b"Umlaute\n", (2023, 4, 5, 6, 7, 8)),
        "Привет/мир.txt": ("Здравствуй, мир\n".encode(), (2022, 1, 2, 3, 4, 6)),
        "日本語/ファイル名.txt": ("こんにちは\n".encode(), (2021, 9, 10, 11, 12, 14)),
    })
    os.makedirs(os.path.join(root, "empty", "inner"))


def strip(path):
    return path[2:] if path.startswith("./") else path


def listing(archive):
    """The files 7zz lists (bsdtar: AR's and RPM's, which 7zz shows as their compressed payload), as
    "size<TAB>path" lines with "/" between folders and no leading "./"."""
    if archive.endswith((".rpm", ".deb", ".ar")):
        out = subprocess.run(["bsdtar", "-tvf", archive], env=UTF8, check=True, capture_output=True).stdout.decode()
        return ["%s\t%s" % (line.split()[4], strip(line.split(None, 8)[8])) for line in out.splitlines()
                if line.startswith("-")]
    out = subprocess.run(["7zz", "l", "-slt", "-ba", archive], env=UTF8, check=True,
                         capture_output=True).stdout.decode()
    lines = []
    for block in out.split("\n\n"):
        fields = dict(line.split(" = ", 1) for line in block.splitlines() if " = " in line)
        if "Path" not in fields or fields.get("Folder") == "+" or "D" in fields.get("Attributes", "")[:1]:
            continue
        path = fields["Path"].replace("\\", "/")
        lines.append("%s\t%s" % (fields.get("Size") or "0", strip(path)))
    return lines


def describe(out, name):
    archive = os.path.join(out, name)
    with open(archive + ".expect", "w", encoding="utf-8") as f:
        f.write("".join(line + "\n" for line in listing(archive)))
    ref = os.path.join(out, "ref_" + name)
    shutil.rmtree(ref, ignore_errors=True)
    if name.endswith((".rpm", ".deb", ".ar")):
        os.makedirs(ref)
        subprocess.run(["bsdtar", "-xf", archive, "-C", ref], env=UTF8, check=True)
    else:
        subprocess.run(["7zz", "x", "-y", "-bso0", "-o" + ref, archive], env=UTF8, check=True)


def newc(entries):
    """A cpio archive in the "new ASCII" format: (name, data, mode, ino, nlink) tuples."""
    out = io.BytesIO()

    def put(name, data, mode, ino, nlink):
        raw = name.encode() + b"\0"
        out.write(b"070701" + b"".join(b"%08X" % v for v in (
            ino, mode, 0, 0, nlink, 1700000000, len(data), 0, 0, 0, 0, len(raw), 0)))
        out.write(raw + b"\0" * ((-(110 + len(raw))) % 4))
        out.write(data + b"\0" * ((-len(data)) % 4))

    for i, (name, data, mode, ino, nlink) in enumerate(entries):
        put(name, data, mode, ino or i + 1, nlink)
    put("TRAILER!!!", b"", 0, 0, 1)
    return out.getvalue()


def rpm(payload):
    """An RPM: the lead, an empty signature and main header, then the gzip'd cpio payload."""
    lead = (b"\xed\xab\xee\xdb\x03\x00" + b"\0\0\0\x01" + b"kestrel-1.0".ljust(66, b"\0") + b"\0\x01\0\x05" +
            b"\0" * 16)
    header = b"\x8e\xad\xe8\x01" + b"\0" * 4 + struct.pack(">II", 0, 0)
    return lead + header + b"\0" * ((-len(header)) % 8) + header + gzip.compress(payload, mtime=0)


def lzh(files):
    """An LZH archive of stored (-lh0-) entries with level-0 headers."""
    out = io.BytesIO()
    for name, data in files:
        crc = 0
        for byte in data:
            crc ^= byte
            for _ in range(8):
                crc = (crc >> 1) ^ 0xA001 if crc & 1 else crc >> 1
        body = (b"-lh0-" + struct.pack("<IIIBB", len(data), len(data), 0x58A56000, 0x20, 0) +
                bytes([len(name)]) + name.encode() + struct.pack("<H", crc))
        out.write(bytes([len(body), sum(body) & 0xFF]) + body + data)
    out.write(b"\0")
    return out.getvalue()


def main(out):
    shutil.rmtree(out, ignore_errors=True)
    src = os.path.join(out, "src")
    tree(src)
    run("7zz", "a", "-bso0", os.path.join(out, "solid.7z"), ".", cwd=src)
    run("bsdtar", "--format", "newc", "-cf", os.path.join(out, "tree.cpio"), ".", cwd=src)
    run("bsdtar", "--format", "ar", "-cf", os.path.join(out, "flat.ar"), "readme.txt", "data/random.bin", cwd=src)
    subprocess.run(["gcab", "-c", "-z", os.path.join(out, "tree.cab"), "readme.txt", "docs/numbers.txt",
                    "data/random.bin", "prog/tool.exe"], cwd=src, env=UTF8, check=True)
    # A Debian package: an AR of its version and two compressed TARs.
    deb = os.path.join(out, "deb")
    write_files(deb, {"debian-binary": b"2.0\n"})
    run("bsdtar", "--format", "ustar", "--xz", "-cf", os.path.join(deb, "control.tar.xz"), "readme.txt", cwd=src)
    run("bsdtar", "--format", "ustar", "--xz", "-cf", os.path.join(deb, "data.tar.xz"), "docs", cwd=src)
    run("bsdtar", "--format", "ar", "-cf", os.path.join(out, "package.deb"), "debian-binary", "control.tar.xz",
        "data.tar.xz", cwd=deb)
    with open(os.path.join(src, "docs", "numbers.txt"), "rb") as f:
        numbers = f.read()
    with open(os.path.join(out, "package.rpm"), "wb") as f:
        f.write(rpm(newc([("./usr/share/numbers.txt", numbers, 0o100644, 0, 1),
                          ("./usr/share/hello.txt", b"hello rpm\n", 0o100644, 0, 1)])))
    with open(os.path.join(out, "stored.lzh"), "wb") as f:
        f.write(lzh([("hello.txt", b"hello lzh\n"), ("numbers.txt", numbers[:5000])]))
    for name in ["solid.7z", "tree.cpio", "flat.ar", "tree.cab", "package.deb", "package.rpm", "stored.lzh"]:
        describe(out, name)

    # Names that would write outside the destination, a link and a hard link, beside one good file.
    with open(os.path.join(out, "hostile.cpio"), "wb") as f:
        f.write(newc([
            ("good.txt", b"good\n", 0o100644, 0, 1),
            ("../up.txt", b"up\n", 0o100644, 0, 1),
            ("/absolute.txt", b"abs\n", 0o100644, 0, 1),
            ("C:/drive.txt", b"drive\n", 0o100644, 0, 1),
            ("stream.txt:hidden", b"ads\n", 0o100644, 0, 1),
            ("sub/CON", b"device\n", 0o100644, 0, 1),
            ("link", b"../outside", 0o120777, 0, 1),
            ("twin-a.txt", b"", 0o100644, 90, 2),
            ("twin-b.txt", b"shared\n", 0o100644, 90, 2),
        ]))
    # Cut short: a CPIO in its third file's data.
    cpio = newc([("one.txt", b"one\n" * 10, 0o100644, 0, 1), ("two.txt", b"two\n" * 10, 0o100644, 0, 1),
                 ("three.bin", os.urandom(9000), 0o100644, 0, 1), ("four.txt", b"four\n", 0o100644, 0, 1)])
    with open(os.path.join(out, "cut.cpio"), "wb") as f:
        f.write(cpio[:cpio.index(b"three.bin") + 4000])
    with open(os.path.join(out, "solid.7z"), "rb") as f:
        seven = f.read()
    # Names that lie: a ZIP named .bin, a 7z named .zip and without a suffix, a program with a
    # 7z after it where self-extracting programs put it.
    run("zip", "-q", "-r", os.path.join(out, "zip-named.bin"), "readme.txt", cwd=src)
    for name in ("seven-named.zip", "seven-without-suffix"):
        with open(os.path.join(out, name), "wb") as f:
            f.write(seven)
    with open(os.path.join(out, "self-extracting.exe"), "wb") as f:
        f.write(b"MZ" + b"\0" * (0x27000 - 2) + seven)
    # An archive inside an archive: a ZIP in a folder of a 7z.
    nest = os.path.join(out, "nest")
    write_files(os.path.join(nest, "zip"), {"docs/a.txt": b"inner a", "docs/b.txt": b"inner b", "top.txt": b"top"})
    os.makedirs(os.path.join(nest, "7z", "pack"))
    run("zip", "-q", "-r", os.path.join(nest, "7z", "pack", "inner.zip"), "docs", "top.txt", cwd=os.path.join(nest, "zip"))
    write_files(os.path.join(nest, "7z"), {"readme.txt": b"outer"})
    run("7zz", "a", "-bso0", os.path.join(out, "outer.7z"), "pack", "readme.txt", cwd=os.path.join(nest, "7z"))


if __name__ == "__main__":
    main(sys.argv[1])
