#!/usr/bin/env python3
"""Makes the RAR archives the RAR adapter tests read.

    make_rar_inputs.py OUTDIR

`rar` (build/deps/tools/bin, or the PATH) makes RAR5 archives of the tree src/: plain,
solid, encrypted data (-p), encrypted headers (-hp), volumes (-v), a volume set with one
volume missing, links (-ol) and RAR5 damage. `rar` no longer writes RAR4, so the RAR4 archives (a plain one with Unicode
names, one with hostile names, one with a damaged header, one with an entry whose data fails
its checksum) are written here, stored, in the RAR 2.9 block format. Beside each archive:
<name>.expect, the files `unrar lt` lists (size TAB name, names with "\\"), checked against
`unrar lb` (the 7zz of the machine has no RAR codec). The password is "secret".
"""
import os
import shutil
import struct
import subprocess
import sys
import zlib

from make_extract_inputs import local_epoch, write_files

PASSWORD = "secret"


def tool(name):
    here = os.path.dirname(os.path.abspath(__file__))
    for folder in [os.environ.get("KESTRELIA_TOOLS_BIN", ""),
                   os.path.join(os.environ.get("KESTRELIA_DEPS", os.path.join(here, "../../build/deps")), "tools/bin")]:
        path = os.path.join(folder, name)
        if folder and os.access(path, os.X_OK):
            return path
    found = shutil.which(name)
    if not found:
        sys.exit("%s is missing: run scripts/deps.sh" % name)
    return found


RAR, UNRAR = tool("rar"), tool("unrar")

TREE = {
    "readme.txt": (b"rar test\n", (2024, 3, 5, 14, 30, 10)),
    "bin/tool.exe": (b"MZ\0\0", (2024, 3, 5, 14, 31, 0)),
    "docs/numbers.txt": ("".join("%d\n" % i for i in range(30000)).encode(), (2023, 7, 15, 9, 4, 58)),
    "docs/deep/note.md": (b"# note\n" * 40, (2022, 12, 24, 18, 0, 2)),
    "docs/zero.bin": (b"", (2021, 1, 1, 0, 0, 0)),
    "data/random.bin": (os.urandom(150000), (2024, 8, 1, 23, 59, 58)),
    "Ärger über/Grüße.txt": ("Grüße aus Köln\n".encode(), (2020, 6, 30, 12, 0, 0)),
    "日本語/テキスト.txt": ("日本語のテキスト\n".encode(), (2020, 6, 30, 12, 1, 0)),
}


def make_tree(root):
    write_files(root, TREE)
    os.makedirs(os.path.join(root, "empty/inner"))


def rar(out, archive, *switches, cwd):
    subprocess.run([RAR, "a", "-r", "-idq", *switches, os.path.join(out, archive), "."], cwd=cwd,
                   check=True, stdout=subprocess.DEVNULL)


def listing(archive, password=None, volumes=False):
    """The files of an archive as `unrar lt` details them: (size, name with "\\") sorted;
    the names are checked against `unrar lb`."""
    args = [UNRAR, "lt", "-p" + (password or "-")] + (["-v"] if volumes else []) + [archive]
    out = subprocess.run(args, capture_output=True, check=True).stdout.decode()
    files, entry = [], {}
    for line in out.splitlines() + [""]:
        if ": " in line and line.startswith(" "):
            key, value = line.strip().split(": ", 1)
            entry[key] = value
        elif not line.strip() and entry:
            if entry.get("Type") == "File":
                files.append((int(entry["Size"]), entry["Name"].replace("/", "\\")))
            entry = {}
    names = subprocess.run([UNRAR, "lb", "-p" + (password or "-")] + (["-v"] if volumes else []) + [archive], capture_output=True,
                           check=True).stdout.decode().split("\n")
    missing = {name for _, name in files} - {n.replace("/", "\\") for n in names if n}
    if missing:
        sys.exit("%s: unrar lb does not list %s" % (archive, sorted(missing)))
    return sorted(set(files))  # a file split over volumes is one entry


def write_expect(path, files):
    with open(path + ".expect", "w", encoding="utf-8") as f:
        for size, name in files:
            f.write("%d\t%s\n" % (size, name))


# RAR 2.9 blocks, stored: marker, archive header, one header per file with its data, end.
def block(kind, flags, body, data=b""):
    size = 7 + len(body)
    head = struct.pack("<BHH", kind, flags, size) + body
    return struct.pack("<H", zlib.crc32(head) & 0xFFFF) + head + data


def dos_time(y, mo, d, h, mi, s):
    return ((y - 1980) << 25) | (mo << 21) | (d << 16) | (h << 11) | (mi << 5) | (s // 2)


def encoded_name(name):
    """The Unicode form of a RAR 2.9 name: the high byte, then per four characters a flag
    byte (2 = a full 16-bit character) and the characters."""
    out = bytearray([0])
    chars = name.encode("utf-16-le")
    units = [chars[i:i + 2] for i in range(0, len(chars), 2)]
    for i in range(0, len(units), 4):
        out.append(0xAA)
        for unit in units[i:i + 4]:
            out += unit
    return bytes(out)


def rar4_file(name, data, stamp=(2020, 1, 2, 3, 4, 6), folder=False):
    ascii_name = name.encode("ascii", "replace")
    flags = 0x8000
    stored = ascii_name
    if any(ord(c) > 127 for c in name):
        flags |= 0x200
        stored = ascii_name + b"\0" + encoded_name(name)
    if folder:
        flags |= 0xE0
    body = struct.pack("<IIBIIBBHI", len(data), len(data), 2, zlib.crc32(data), dos_time(*stamp), 20, 0x30,
                       len(stored), 0x10 if folder else 0x20) + stored
    return block(0x74, flags, body, data)


def rar4(path, entries):
    """entries: (name with "\\", bytes or None for a folder)."""
    out = b"Rar!\x1a\x07\x00" + block(0x73, 0, b"\0" * 6)
    for name, data in entries:
        out += rar4_file(name, data or b"", folder=data is None)
    out += block(0x7B, 0x4000, b"")
    with open(path, "wb") as f:
        f.write(out)
    return out


def main():
    out = os.path.abspath(sys.argv[1])
    shutil.rmtree(out, ignore_errors=True)
    src = os.path.join(out, "src")
    os.makedirs(src)
    make_tree(src)

    rar(out, "plain.rar", cwd=src)
    rar(out, "solid.rar", "-s", cwd=src)
    rar(out, "password.rar", "-p" + PASSWORD, cwd=src)
    rar(out, "headers.rar", "-hp" + PASSWORD, cwd=src)
    rar(out, "volumes.rar", "-v60k", cwd=src)
    for n in (1, 2, 3):
        if n != 2:
            shutil.copy(os.path.join(out, "volumes.part%d.rar" % n), os.path.join(out, "missing.part%d.rar" % n))
    # Links stored as links (-ol), one absolute and one climbing, beside a plain file.
    linked = os.path.join(out, "linked")
    os.makedirs(linked)
    with open(os.path.join(linked, "fine.txt"), "w") as f:
        f.write("fine\n")
    os.symlink("/etc/passwd", os.path.join(linked, "escape"))
    os.symlink("../../outside", os.path.join(linked, "up"))
    rar(out, "links.rar", "-ol", cwd=linked)

    # RAR5 damage: cut in the middle, and a header whose checksum fails (without the quick-open
    # record, whose copy of the headers would stand in for it).
    with open(os.path.join(out, "plain.rar"), "rb") as f:
        whole = f.read()
    with open(os.path.join(out, "cut.rar"), "wb") as f:
        f.write(whole[:len(whole) // 2])
    rar(out, "damaged5.rar", "-qo-", cwd=src)
    with open(os.path.join(out, "damaged5.rar"), "rb") as f:
        broken = bytearray(f.read())
    broken[broken.index("Grüße.txt".encode())] ^= 0x01
    with open(os.path.join(out, "damaged5.rar"), "wb") as f:
        f.write(broken)
    for name, password in [("plain", None), ("solid", None), ("password", PASSWORD), ("headers", PASSWORD),
                           ("volumes.part1", None)]:
        archive = os.path.join(out, name + ".rar")
        files = listing(archive, password, volumes=name.startswith("volumes"))
        write_expect(archive, files)

    # RAR4 of the same tree, stored, with its folders.
    entries = []
    for root, folders, names in sorted(os.walk(src)):
        rel = os.path.relpath(root, src)
        for folder in sorted(folders):
            entries.append((os.path.normpath(os.path.join(rel, folder)).replace("/", "\\"), None))
        for name in sorted(names):
            with open(os.path.join(root, name), "rb") as f:
                entries.append((os.path.normpath(os.path.join(rel, name)).replace("/", "\\"), f.read()))
    rar4(os.path.join(out, "rar4.rar"), entries)
    files = listing(os.path.join(out, "rar4.rar"))
    write_expect(os.path.join(out, "rar4.rar"), files)

    # Names that would land outside the destination, beside one that is fine.
    rar4(os.path.join(out, "hostile.rar"), [
        ("..\\climbed.txt", b"up\n"), ("\\rooted.txt", b"root\n"), ("c:\\drive.txt", b"drive\n"),
        ("inner\\..\\..\\twice.txt", b"twice\n"), ("fine.txt", b"fine\n"), ("stream.txt:hidden", b"ads\n")])

    # One entry's stored bytes altered after its checksum was taken.
    data = rar4(os.path.join(out, "crc.rar"), [("good.txt", b"good\n"), ("bad.txt", b"bad data\n"),
                                               ("after.txt", b"after\n")])
    with open(os.path.join(out, "crc.rar"), "wb") as f:
        f.write(data.replace(b"bad data", b"bad dat!"))

    # Three entries; the second's header checksum is broken.
    data = rar4(os.path.join(out, "damaged.rar"), [("first.txt", b"one\n"), ("second.txt", b"two\n"),
                                                   ("third.txt", b"three\n")])
    second = data.index(b"second.txt") - 32
    broken = bytearray(data)
    broken[second] ^= 0xFF
    with open(os.path.join(out, "damaged.rar"), "wb") as f:
        f.write(broken)


if __name__ == "__main__":
    main()
