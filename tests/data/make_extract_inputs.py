#!/usr/bin/env python3
"""Makes the archives the extraction tests read, and beside each one that unzip can extract
the folder ref_<name>/ with what unzip made of it (bytes and modification times), so the
tests compare the engine's output with a peer's.

    make_extract_inputs.py OUTDIR

Besides the peers' archives it builds hostile and damaged ones by hand: names that climb out
of the destination or name devices, an entry that inflates past its declared size, an entry
with flipped bytes in its compressed data, a stored entry whose CRC does not match, and a
password that passes the cipher's check byte without being the right one (false_password.txt).
"""
import lzma
import os
import random
import shutil
import struct
import subprocess
import sys
import time
import zipfile
import zlib

from raw_zip import deflate, raw_zip


def run(*args, cwd=None):
    subprocess.run(args, cwd=cwd, check=True, stdout=subprocess.DEVNULL)


def local_epoch(y, mo, d, h, mi, s):
    return time.mktime((y, mo, d, h, mi, s, 0, 0, -1))


def write_files(root, files):
    """files: name -> bytes or (bytes, local (y, mo, d, h, mi, s)); folders made as needed."""
    for name, data in files.items():
        data, stamp = data if isinstance(data, tuple) else (data, None)
        path = os.path.join(root, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as f:
            f.write(data)
        if stamp:
            t = local_epoch(*stamp)
            os.utime(path, (t, t))


def tree(root):
    rnd = random.Random(7)
    files = {
        "readme.txt": (b"Kestrelia extraction test\n", (2024, 3, 5, 14, 30, 10)),
        "docs/numbers.txt": ("".join("%d\n" % i for i in range(40000)).encode(), (2023, 7, 15, 9, 5, 0)),
        "docs/deep/er/note.md": (b"# note\n" * 40, (2022, 12, 24, 18, 0, 2)),
        "docs/zero.bin": (b"", (2021, 1, 1, 0, 0, 0)),
        # Several 64 KiB chunks, part random so that deflate cannot shrink it much.
        "data/mixed.bin": (bytes(rnd.getrandbits(8) for _ in range(150000)) + b"z" * 200000,
                           (2024, 8, 1, 23, 59, 58)),
        "Mixed Case Name.TXT": (b"case\n", (2020, 6, 30, 12, 0, 0)),
    }
    write_files(root, files)
    os.makedirs(os.path.join(root, "empty_dir"), exist_ok=True)


def reference(out, archive, *flags):
    ref = os.path.join(out, "ref_" + os.path.basename(archive)[:-4])
    shutil.rmtree(ref, ignore_errors=True)
    os.makedirs(ref)
    # unzip answers 1 for warnings (backslashes turned into folders); only real errors count.
    code = subprocess.run(["unzip", "-q", "-o", *flags, archive, "-d", ref], stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL).returncode
    assert code in (0, 1), "unzip failed on " + archive
    # unzip keeps "\\" inside a Linux name; on Windows it separates folders.
    for folder, _, files in os.walk(ref):
        for name in files:
            if "\\" in name:
                os.renames(os.path.join(folder, name), os.path.join(folder, *name.split("\\")))


def crafted(path, entries):
    """entries: (name bytes, stored data, method, compressed, declared size)."""
    raw_zip(path, [dict(name=n, data=d, method=m, packed=p, declared=s) for n, d, m, p, s in entries],
            when=(0x7000, 0x5865))


def hostile(out):
    names = ["../evil.txt", "/abs.txt", "c:\\x.txt", "a/../../b", "CON", "sub/aux.txt", "a:b", "..\\up.txt",
             "\\\\server\\share\\unc.txt", "//server/share/unc2.txt", "trail./x.txt", "nul.txt",
             "ok.txt", "okdir/fine.txt"]
    with open(os.path.join(out, "hostile.names"), "w") as f:
        f.write("\n".join(names) + "\n")
    crafted(os.path.join(out, "hostile.zip"),
            [(n.encode(), b"payload of " + n.encode(), 0, b"payload of " + n.encode(),
              len(b"payload of " + n.encode())) for n in names])


def newer_methods(out):
    """LZMA (14) as python and 7zz write it, and XZ (95) and Zstandard (93) streams made by the
    Debian tools stored byte for byte as entries; ref_newer holds what each must give."""
    texts = {"lzma.txt": b"".join(b"lzma line %05d\n" % i for i in range(4000)),
             "xz.txt": b"".join(b"xz line %05d\n" % i for i in range(5000)),
             "zstd.txt": b"".join(b"zstd line %05d\n" % i for i in range(6000))}
    ref = os.path.join(out, "ref_newer")
    shutil.rmtree(ref, ignore_errors=True)
    write_files(ref, {name: (data, (2024, 3, 5, 14, 0, 0)) for name, data in texts.items()})  # the crafted DOS time

    def tool(args, data):
        return subprocess.run(args, input=data, stdout=subprocess.PIPE, check=True).stdout

    crafted(os.path.join(out, "newer.zip"),
            [(b"xz.txt", texts["xz.txt"], 95, tool(["xz", "-c"], texts["xz.txt"]), len(texts["xz.txt"])),
             (b"zstd.txt", texts["zstd.txt"], 93, tool(["zstd", "-q", "-c"], texts["zstd.txt"]), len(texts["zstd.txt"]))])
    # Damaged: an XZ stream cut short, a Zstandard stream with one byte changed.
    xz, zst = tool(["xz", "-c"], texts["xz.txt"]), bytearray(tool(["zstd", "-q", "-c"], texts["zstd.txt"]))
    zst[len(zst) // 2] ^= 0x55
    crafted(os.path.join(out, "newer_damaged.zip"),
            [(b"cut.txt", texts["xz.txt"], 95, xz[:len(xz) // 2], len(texts["xz.txt"])),
             (b"changed.txt", texts["zstd.txt"], 93, bytes(zst), len(texts["zstd.txt"]))])
    with zipfile.ZipFile(os.path.join(out, "newer.zip"), "a") as z:
        info = zipfile.ZipInfo("lzma.txt", (2024, 3, 5, 14, 0, 0))
        info.compress_type = zipfile.ZIP_LZMA
        z.writestr(info, texts["lzma.txt"])
    # 7zz's LZMA entries carry no end marker: the sizes alone end them.
    seven = os.path.join(out, "sevenzip_lzma.zip")
    run("7zz", "a", "-tzip", "-mm=LZMA", "-bd", "-bso0", seven, ".", cwd=os.path.join(out, "src"))
    run("7zz", "x", "-bd", "-bso0", "-o" + os.path.join(out, "ref_sevenzip_lzma"), seven)


def overrun(out):
    """The first entry declares half of what its stream inflates to, in both headers."""
    data = "".join("line %06d\n" % i for i in range(20000)).encode()  # 240,000 bytes
    with open(os.path.join(out, "overrun.data"), "wb") as f:
        f.write(data)
    good = b"after the overrun\n"
    crafted(os.path.join(out, "overrun.zip"),
            [(b"long.txt", data, 8, deflate(data), 100000), (b"good.txt", good, 8, deflate(good), len(good))])


def large(out):
    """Entries big enough to go through the writer thread: 5 MiB of text, random bytes and
    runs, so the chunks inflate at uneven speeds, a small entry, and the data reversed (one
    run's writer serves both); then the stream declaring 3,000,000 bytes (cut mid-stream) and
    a small entry after it."""
    rnd = random.Random(5)
    parts = []
    for i in range(60):
        parts.append("".join("row %d of part %d\n" % (j, i) for j in range(2000)).encode())
        parts.append(rnd.randbytes(40000 + 997 * i))
        parts.append(bytes([i]) * 30000)
    data = b"".join(parts)[:5 * 1024 * 1024]
    assert len(data) == 5 * 1024 * 1024
    with open(os.path.join(out, "large.data"), "wb") as f:
        f.write(data)
    path = os.path.join(out, "large.zip")
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as z:
        z.writestr(zipfile.ZipInfo("big/large.bin", (2024, 4, 5, 6, 7, 8)), data, zipfile.ZIP_DEFLATED)
        z.writestr(zipfile.ZipInfo("after.txt", (2024, 4, 5, 6, 7, 10)), b"after the large one\n", zipfile.ZIP_DEFLATED)
        z.writestr(zipfile.ZipInfo("big/reversed.bin", (2024, 4, 5, 6, 7, 12)), data[::-1], zipfile.ZIP_DEFLATED)
    reference(out, path)
    good = b"after the cut\n"
    crafted(os.path.join(out, "large_overrun.zip"),
            [(b"large.bin", data, 8, deflate(data), 3000000), (b"good.txt", good, 8, deflate(good), len(good))])


def damaged(out):
    rnd = random.Random(11)
    data = "".join("record %d %d\n" % (i, rnd.randint(0, 1 << 30)) for i in range(30000)).encode()
    packed = bytearray(deflate(data))
    middle = len(packed) // 2
    for i in range(middle, middle + 64):
        packed[i] ^= 0xA5
    good = b"still here\n"
    # A first block of the reserved type 3: inflate reports a data error at once.
    invalid = b"\x07" + bytes(range(200))
    crafted(os.path.join(out, "damaged_entry.zip"),
            [(b"bad.txt", data, 8, bytes(packed), len(data)), (b"invalid.bin", b"x" * 5000, 8, invalid, 5000),
             (b"good.txt", good, 8, deflate(good), len(good))])
    with open(os.path.join(out, "damaged_entry.good"), "wb") as f:
        f.write(good)
    # For the archive test: a stored entry with one byte flipped (only its CRC tells), a stream
    # that ends before the size it declares, and two sound entries.
    text = b"checked line\n" * 400
    flipped = bytearray(text)
    flipped[100] ^= 0x01
    crafted(os.path.join(out, "checked.zip"),
            [(b"flipped.txt", text, 0, bytes(flipped), len(text)), (b"short.txt", text, 8, deflate(text), len(text) + 500),
             (b"fine.txt", good, 8, deflate(good), len(good)), (b"plain.txt", good, 0, good, len(good))])


class Cipher:
    def __init__(self, password):
        self.k = [305419896, 591751049, 878082192]
        for c in password:
            self.update(c)

    @staticmethod
    def crc(value, byte):
        return zlib.crc32(bytes([byte]), value ^ 0xFFFFFFFF) ^ 0xFFFFFFFF

    def update(self, c):
        self.k[0] = self.crc(self.k[0], c)
        self.k[1] = ((self.k[1] + (self.k[0] & 0xFF)) * 134775813 + 1) & 0xFFFFFFFF
        self.k[2] = self.crc(self.k[2], self.k[1] >> 24)

    def decrypt(self, c):
        t = (self.k[2] & 0xFFFF) | 2
        p = c ^ (((t * (t ^ 1)) >> 8) & 0xFF)
        self.update(p)
        return p


def check_byte_passes(data, info, password):
    """Whether the password's decrypted header ends in the entry's check byte."""
    start = info.header_offset + 30 + sum(struct.unpack("<HH", data[info.header_offset + 26:info.header_offset + 30]))
    check = ((info._raw_time >> 8) & 0xFF) if info.flag_bits & 8 else (info.CRC >> 24)
    c = Cipher(password)
    return [c.decrypt(b) for b in data[start:start + 12]][-1] == check


def any_check_byte_passes(archive, password):
    with zipfile.ZipFile(archive) as z, open(archive, "rb") as f:
        data = f.read()
        return any(check_byte_passes(data, info, password) for info in z.infolist() if info.flag_bits & 1)


def false_password(out, archive):
    """A wrong password whose decrypted header ends in the right check byte: only the CRC
    (or inflate) can tell it is wrong."""
    for i in range(100000):
        word = "wrong%d" % i
        if any_check_byte_passes(archive, word.encode()):
            with open(os.path.join(out, "false_password.txt"), "w") as f:
                f.write(word)
            return
    raise SystemExit("no false password found")


def main(out):
    shutil.rmtree(out, ignore_errors=True)
    os.makedirs(out)
    src = os.path.join(out, "src")
    tree(src)

    def zipped(name, *flags):
        path = os.path.join(out, name)
        run("zip", "-q", "-r", *flags, path, ".", cwd=src)
        return path

    reference(out, zipped("deflated.zip"))
    reference(out, zipped("stored.zip", "-0"))
    reference(out, zipped("zip64.zip", "-fz"))
    # The encryption header is random: one build in about 256 lets the tests' wrong password
    # pass an entry's check byte, so the archive is made again until it cannot.
    while True:
        encrypted = zipped("encrypted.zip", "-P", "secret")
        if not any_check_byte_passes(encrypted, b"nope"):
            break
        os.remove(encrypted)
    reference(out, encrypted, "-P", "secret")
    one = os.path.join(out, "one_encrypted.zip")
    run("zip", "-q", "-P", "secret", one, "docs/numbers.txt", cwd=src)
    false_password(out, one)
    run("7zz", "a", "-tzip", "-bd", "-bso0", os.path.join(out, "sevenzip.zip"), ".", cwd=src)
    reference(out, os.path.join(out, "sevenzip.zip"))

    # Names with "\" separators, as some Windows tools write them.
    path = os.path.join(out, "backslash.zip")
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as z:
        z.writestr(zipfile.ZipInfo("win\\dir\\file.txt", (2023, 5, 6, 7, 8, 10)), b"backslash named\n" * 50)
        z.writestr(zipfile.ZipInfo("win\\top.txt", (2023, 5, 6, 7, 8, 12)), b"top\n")
        z.writestr(zipfile.ZipInfo("unix/named.txt", (2023, 5, 6, 7, 8, 14)), b"slash named\n")
    reference(out, path)

    # A path longer than the 259 characters a narrow path may take.
    path = os.path.join(out, "longpath.zip")
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as z:
        deep = "/".join("folder_%d_" % i + "d" * 50 for i in range(5)) + "/file_" + "f" * 40 + ".txt"
        z.writestr(zipfile.ZipInfo(deep, (2023, 5, 6, 7, 8, 16)), b"at the end of a long path\n" * 40)
    reference(out, path)

    # More than 99 entries: progress counts entries.
    path = os.path.join(out, "many.zip")
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as z:
        for i in range(150):
            z.writestr("many/f%03d.txt" % i, ("file %d\n" % i).encode() * (i + 1))
    reference(out, path)

    # A folder "a/b" beside its name twin "a/bc" and a file "a" whose name begins its path, one
    # name spelt with "\\", and names below the folder that climb out of it or name a device.
    path = os.path.join(out, "tree.zip")
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as z:
        for name, data in [("a", b"a file\n"), ("a/", b""), ("a/b/", b""), ("a/b/tree_x.txt", b"below a/b\n" * 30),
                           ("a/b/sub/tree_y.txt", b"deeper\n"), ("a\\b\\tree_win.txt", b"spelt with backslashes\n"),
                           ("a/bc/tree_z.txt", b"the twin\n"), ("a/tree_top.txt", b"above\n"), ("tree_root.txt", b"root\n"),
                           ("a/b/../../../tree_evil.txt", b"climbs out\n"), ("a/b/nul.txt", b"a device\n")]:
            z.writestr(zipfile.ZipInfo(name, (2022, 2, 3, 4, 5, 6)), data)

    # Viewing: a program file, which is started only after the user agreed.
    with zipfile.ZipFile(os.path.join(out, "view.zip"), "w", zipfile.ZIP_DEFLATED) as z:
        z.writestr(zipfile.ZipInfo("bin/view_tool.exe", (2021, 6, 7, 8, 9, 10)), b"MZ not really a program\n" * 40)

    hostile(out)
    overrun(out)
    newer_methods(out)
    large(out)
    damaged(out)


if __name__ == "__main__":
    main(sys.argv[1])
