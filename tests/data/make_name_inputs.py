#!/usr/bin/env python3
"""Makes the archives the name and method tests read, each with what a peer extracted from it.

    make_name_inputs.py OUTDIR

names_<tool>.zip: one tree of German, Russian, Greek, Japanese and Chinese names packed by
zip (with and without -UN=UTF8), 7zz and python's zipfile; ref_names_<tool>/ is what 7zz
extracts from it. names_dos.zip is built by hand as a DOS-era tool did (code page bytes, no
UTF-8 flag), with and without an Info-ZIP Unicode Path field; ref_names_dos/ holds the names
code page 437 (or the valid field) gives. method_<name>.zip holds one entry in one method;
ref_method_<name>/ is what 7zz extracts from it. refusals.txt lists, per archive, the entries
that must be refused or reported and the reason's message number (and the method's name).
"""
import os
import shutil
import struct
import subprocess
import sys
import zipfile
import zlib

from make_extract_inputs import run, write_files
from raw_zip import deflate, raw_zip

PASSWORD = "kestrel"
NAMES = {
    "Deutsch/Grüße aus Köln.txt": b"German\n",
    "Русский/Привет мир.txt": b"Russian\n",
    "Ελληνικά/Καλημέρα.txt": b"Greek\n",
    "日本語/テスト ファイル.txt": b"Japanese\n",
    "中文/测试文件.txt": b"Chinese\n",
    "plain/ascii.txt": b"plain\n",
    # A name of 244 bytes in one component, and a path of 303 characters (415 bytes).
    "long/" + "ж" * 120 + ".txt": b"long\n",
    "deep/" + ("папка_" + "x" * 90 + "/") * 2 + "ж" * 100 + ".txt": b"deep\n",
}


def seven_reference(out, archive):
    ref = os.path.join(out, "ref_" + os.path.basename(archive)[:-4])
    shutil.rmtree(ref, ignore_errors=True)
    os.makedirs(ref)
    subprocess.run(["7zz", "x", "-y", "-p" + PASSWORD, "-o" + ref, archive], stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)


def unicode_path(stored, name, crc=None):
    body = struct.pack("<BI", 1, zlib.crc32(stored) if crc is None else crc) + name.encode()
    return struct.pack("<HH", 0x7075, len(body)) + body


def main():
    out = sys.argv[1]
    shutil.rmtree(out, ignore_errors=True)
    os.makedirs(out)
    src = os.path.join(out, "src")
    write_files(src, NAMES)
    names = sorted(NAMES)

    run("zip", "-q", "-r", os.path.join(out, "names_zip.zip"), *names, cwd=src)
    run("zip", "-q", "-r", "-UN=UTF8", os.path.join(out, "names_zip_un.zip"), *names, cwd=src)
    run("7zz", "a", "-tzip", os.path.join(out, "names_7zz.zip"), *names, cwd=src)
    with zipfile.ZipFile(os.path.join(out, "names_python.zip"), "w", zipfile.ZIP_DEFLATED) as z:
        for name in names:
            z.write(os.path.join(src, name), name)
    for tool in ("zip", "zip_un", "7zz", "python"):
        seven_reference(out, os.path.join(out, "names_%s.zip" % tool))

    # A DOS-era tool: code page bytes and no flag. Code page 437 has the German letters; the
    # Russian name (code page 866) only reads right through a Unicode Path field that fits.
    dos = [
        ("File 2 - ö.txt".encode("cp437"), b"dos german\n", 0, b""),
        ("Grüße/Maß.txt".encode("cp437"), b"dos folder\n", 0, b""),
        ("Привет.txt".encode("cp866"), b"dos russian\n", 0, unicode_path("Привет.txt".encode("cp866"), "Привет.txt")),
        # Info-ZIP on a system whose code page lacks the letters stores "?" for each: plain
        # ASCII, and only the field holds the name.
        (b"???.txt", b"question marks\n", 0, unicode_path(b"???.txt", "Ζωή.txt")),
        # A field left behind by a renaming tool: its CRC is of other bytes, so it is ignored.
        ("Мир.txt".encode("cp866"), b"stale field\n", 0, unicode_path(b"old name", "Stale.txt")),
    ]
    raw_zip(os.path.join(out, "names_dos.zip"), [dict(name=n, data=d, flag=f, extra=e) for n, d, f, e in dos])
    ref = os.path.join(out, "ref_names_dos")
    shown = {}
    for stored, data, _, extra in dos:
        name = stored.decode("cp437")
        if extra and extra[5:9] == struct.pack("<I", zlib.crc32(stored)):
            name = extra[9:].decode()
        shown[name] = data
    write_files(ref, shown)

    refusals = []
    # Methods 7zz writes; the ones the engine does not decode are refused with their name.
    src_file = os.path.join(src, "plain", "ascii.txt")
    with open(src_file, "wb") as f:
        f.write(b"".join(b"line %d of a text that compresses\n" % i for i in range(3000)))
    for label, args, refused in [
        ("bzip2", ["-mm=BZip2"], None),
        ("lzma", ["-mm=LZMA"], None),
        ("ppmd", ["-mm=PPMd"], "PPMd"),
        ("deflate64", ["-mm=Deflate64"], "Deflate64"),
        ("aes128", ["-mem=AES128", "-p" + PASSWORD], None),
        ("aes192", ["-mem=AES192", "-p" + PASSWORD], None),
        ("aes256", ["-mem=AES256", "-p" + PASSWORD], None),
        ("aes256_stored", ["-mem=AES256", "-mx=0", "-p" + PASSWORD], None),
        ("aes256_bzip2", ["-mem=AES256", "-mm=BZip2", "-p" + PASSWORD], None),
        ("aes256_lzma", ["-mem=AES256", "-mm=LZMA", "-p" + PASSWORD], "LZMA"),
    ]:
        archive = os.path.join(out, "method_%s.zip" % label)
        run("7zz", "a", "-tzip", *args, archive, "plain/ascii.txt", cwd=src)
        seven_reference(out, archive)
        if refused:
            refusals.append(("method_%s.zip" % label, "plain/ascii.txt", 109, refused))

    # Damage: a stored entry whose bytes no longer fit its CRC, a deflate stream with garbage
    # in it, and one whose stream ends before the size it declares.
    text = b"".join(b"damaged line %d\n" % i for i in range(2000))
    stream = deflate(text)
    garbage = stream[:40] + bytes(b ^ 0x5A for b in stream[40:80]) + stream[80:]
    raw_zip(os.path.join(out, "damaged.zip"), [
        dict(name=b"good.txt", data=b"fine\n"),
        dict(name=b"crc.txt", data=text, packed=text[:-1] + b"!"),
        dict(name=b"garbage.txt", data=text, method=8, packed=garbage),
        dict(name=b"short.txt", data=text, method=8, packed=deflate(text[:len(text) // 2])),
    ])
    refusals += [("damaged.zip", "crc.txt", 105, ""), ("damaged.zip", "garbage.txt", 106, ""),
                 ("damaged.zip", "short.txt", 108, "")]
    # Two entries whose central records point at the same local record: the "overlapping
    # files" zip bomb in its smallest form.
    data = b"shared bytes\n" * 100
    packed = deflate(data)
    raw_zip(os.path.join(out, "overlap.zip"), [dict(name=b"a.txt", data=data, method=8, packed=packed),
                                               dict(name=b"b.txt", data=data, method=8, packed=packed,
                                                    central_only=True)])
    refusals.append(("overlap.zip", "b.txt", 113, ""))
    with open(os.path.join(out, "refusals.txt"), "w", encoding="utf-8") as f:
        for archive, entry, reason, detail in refusals:
            f.write("%s\t%s\t%d\t%s\n" % (archive, entry, reason, detail))
    shutil.rmtree(src)


if __name__ == "__main__":
    main()
