#!/usr/bin/env python3
"""Makes the CD images the iso.dll and ISO adapter tests read.

    make_iso_inputs.py OUTDIR

xorriso's images: plain ISO 9660, Joliet with German, Cyrillic and Japanese names, Rock Ridge
with deep folders and long names, Rock Ridge with Joliet beside it, only folders; a Nero image
around the Joliet one; a cut one. Beside each: <name>.expect, what bsdtar reads from it (size,
modification time, name per line, folders ending in "/"), and ref_<name>/, what `bsdtar -xf`
made of it. Images with hidden, hostile and absurdly declared entries are written byte by
byte here.
"""
import os
import shutil
import struct
import subprocess
import sys
import tarfile

from make_extract_inputs import write_files

UTF8 = dict(os.environ, LC_ALL="C.UTF-8")
DEEP = "/".join("level%02d" % i for i in range(12))
LONG = "a-rock-ridge-name-far-beyond-the-thirty-one-characters-of-iso-9660-" * 2 + "end.txt"

NAMES = {
    "Größe und Maße/Übersicht.txt": (b"Umlaute\n", (2023, 4, 5, 6, 7, 8)),
    "Привет/мир.txt": ("Здравствуй, мир\n".encode(), (2022, 1, 2, 3, 4, 6)),
    "日本語/ファイル名.txt": ("こんにちは\n".encode(), (2021, 9, 10, 11, 12, 14)),
    "plain.txt": (b"plain\n", (2024, 2, 29, 23, 59, 58)),
}


def run(*args, cwd=None):
    subprocess.run(args, cwd=cwd, env=UTF8, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def xorriso(out, name, source, *flags):
    run("xorriso", "-as", "mkisofs", "-quiet", *flags, "-V", name.split(".")[0].upper(), "-o",
        os.path.join(out, name), source)


def trees(out):
    plain = os.path.join(out, "src_plain")
    write_files(plain, {
        "README.TXT": (b"plain iso\n", (2024, 3, 5, 14, 30, 12)),
        "DOCS/NUMBERS.TXT": ("".join("%d\n" % i for i in range(30000)).encode(), (2023, 7, 15, 9, 5, 0)),
        "DOCS/EMPTY.BIN": (b"", (2021, 1, 1, 0, 0, 0)),
        "DATA/RANDOM.BIN": (os.urandom(150000), (2024, 8, 1, 23, 59, 58)),
    })
    names = os.path.join(out, "src_names")
    write_files(names, NAMES)
    deep = os.path.join(out, "src_deep")
    write_files(deep, {
        DEEP + "/bottom.txt": (b"at the bottom\n", (2020, 6, 30, 12, 0, 0)),
        "long/" + LONG: (b"long\n", (2020, 6, 30, 12, 1, 0)),
        "Mixed Case Name.txt": (b"case\n", (2020, 6, 30, 12, 2, 0)),
        "data/random.bin": (os.urandom(300000), (2019, 5, 6, 7, 8, 10)),
    })
    folders = os.path.join(out, "src_folders")
    for folder in ["a/b/c", "a/d", "e"]:
        os.makedirs(os.path.join(folders, folder))
    return plain, names, deep, folders


def expect(image):
    """What bsdtar reads: the image turned into a pax stream, read back by tarfile."""
    stream = subprocess.run(["bsdtar", "-cf", "-", "--format=pax", "@" + image], env=UTF8, check=True,
                            capture_output=True).stdout
    lines = []
    with tarfile.open(fileobj=__import__("io").BytesIO(stream)) as tf:
        for m in tf.getmembers():
            name = m.name + ("/" if m.isdir() else "")
            lines.append("%d\t%d\t%s" % (m.size, int(m.mtime), name))
    with open(image + ".expect", "w", encoding="utf-8") as f:
        f.write("\n".join(lines) + ("\n" if lines else ""))


def reference(image, out):
    ref = os.path.join(out, "ref_" + os.path.basename(image))
    os.makedirs(ref)
    run("bsdtar", "-xf", image, "-C", ref)


# An image written byte by byte: one volume, one root folder, the entries' records as given.
def both16(v):
    return struct.pack("<H", v) + struct.pack(">H", v)


def both32(v):
    return struct.pack("<I", v) + struct.pack(">I", v)


def record(extent, size, flags, ident):
    pad = b"" if len(ident) % 2 else b"\0"
    length = 33 + len(ident) + len(pad)
    date = bytes([124, 1, 2, 3, 4, 5, 0])  # 2024-01-02 03:04:05 UTC
    return (bytes([length, 0]) + both32(extent) + both32(size) + date + bytes([flags, 0, 0]) + both16(1)
            + bytes([len(ident)]) + ident + pad)


def raw_image(path, entries, volume=None, root_size=2048):
    """entries: (identifier bytes, data, flags). Sectors: 16 the volume, 17 the end of the
    descriptors, 18 and 19 the path tables, 20 the root folder, the files after it."""
    sector = 2048
    extent = 21
    records = [record(20, root_size, 2, b"\0"), record(20, root_size, 2, b"\1")]
    data = b""
    for ident, body, flags in entries:
        records.append(record(extent if body else 0, len(body), flags, ident))
        blocks = (len(body) + sector - 1) // sector
        data += body + b"\0" * (blocks * sector - len(body))
        extent += blocks
    root = b"".join(records)
    assert len(root) <= sector
    total = max(extent, 32)  # libarchive looks for the descriptors in the first 24 sectors
    data += b"\0" * (total - extent) * sector
    pvd = bytearray(sector)
    pvd[0:7] = b"\1CD001\1"
    pvd[8:40] = b" " * 32
    pvd[40:72] = b"RAW".ljust(32)
    pvd[80:88] = both32(volume or total)
    pvd[120:124] = both16(1)
    pvd[124:128] = both16(1)
    pvd[128:132] = both16(sector)
    pvd[132:140] = both32(10)
    pvd[140:144] = struct.pack("<I", 18)
    pvd[148:152] = struct.pack(">I", 19)
    pvd[156:190] = record(20, root_size, 2, b"\0")
    pvd[881] = 1
    end = bytearray(sector)
    end[0:7] = b"\xffCD001\1"
    table_l = bytes([1, 0]) + struct.pack("<I", 20) + struct.pack("<H", 1) + b"\0\0"
    table_m = bytes([1, 0]) + struct.pack(">I", 20) + struct.pack(">H", 1) + b"\0\0"
    with open(path, "wb") as f:
        f.write(b"\0" * 16 * sector + bytes(pvd) + bytes(end) + table_l.ljust(sector, b"\0")
                + table_m.ljust(sector, b"\0") + root.ljust(sector, b"\0") + data)


def handmade(out):
    raw_image(os.path.join(out, "hidden.iso"), [
        (b"SECRET.TXT;1", b"hidden by its record\n", 1),
        (b"VISIBLE.TXT;1", b"for everyone\n", 0),
        (b"TOOL.EXE;1", b"MZ\0\0", 0),  # viewing a program asks first, so a test starts nothing
    ])
    raw_image(os.path.join(out, "hostile.iso"), [
        (b"GOOD.TXT;1", b"good\n", 0),
        (b"../ESCAPED-DOTDOT.TXT;1", b"x\n", 0),
        (b"SUB/../../ESCAPED-DEEP.TXT;1", b"x\n", 0),
        (b"/TMP/ESCAPED-ABSOLUTE.TXT;1", b"x\n", 0),
        (b"\\ESCAPED-ROOT.TXT;1", b"x\n", 0),
        (b"C:ESCAPED-DRIVE.TXT;1", b"x\n", 0),
        (b"..;1", b"x\n", 0),
        (b"CON.TXT;1", b"x\n", 0),
        (b"ALSO-GOOD.TXT;1", b"also good\n", 0),
    ])
    # A few kilobytes that declare a volume of 4 TiB and a root folder of 4 GiB.
    raw_image(os.path.join(out, "huge.iso"), [(b"SMALL.TXT;1", b"small\n", 0)], volume=0x7FFFFFF0,
              root_size=0xFFFFF800)
    with open(os.path.join(out, "garbage.iso"), "wb") as f:
        f.write(bytes((i * 37) & 0xFF for i in range(100000)))


def nero(out, image):
    """A Nero disc-at-once image: 150 sectors of lead-in, the track, the chunk list, the footer."""
    data = open(image, "rb").read()
    chunks = 307200 + len(data)
    with open(os.path.join(out, "IMAGE.NRG"), "wb") as f:
        f.write(b"\0" * 307200 + data + b"END!\0\0\0\0" + b"NER5" + struct.pack(">Q", chunks))


def main():
    out = sys.argv[1]
    shutil.rmtree(out, ignore_errors=True)
    os.makedirs(out)
    plain, names, deep, folders = trees(out)
    made = []

    def image(name, source, *flags):
        xorriso(out, name, source, *flags)
        made.append(name)

    image("plain.iso", plain)
    image("joliet.iso", names, "-J", "-joliet-long")
    image("rockridge.iso", deep, "-R")
    image("rrjoliet.iso", names, "-R", "-J")
    image("folders.iso", folders, "-R")
    for name in made:
        expect(os.path.join(out, name))
        reference(os.path.join(out, name), out)
    nero(out, os.path.join(out, "joliet.iso"))
    data = open(os.path.join(out, "rockridge.iso"), "rb").read()
    # Cut inside data/random.bin, which xorriso puts first: the small files after it are gone.
    open(os.path.join(out, "truncated.iso"), "wb").write(data[: 100 * 2048])
    handmade(out)


if __name__ == "__main__":
    main()
