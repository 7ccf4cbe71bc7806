#!/usr/bin/env python3
"""Makes the TAR archives the tar.dll and TAR adapter tests read.

    make_tar_inputs.py OUTDIR

Peers' archives: GNU tar in its ustar, pax and gnu formats, bsdtar, python's tarfile; plain,
gzip, bzip2, xz, zstd, lz4, lzma and compress; names longer than 100 characters, empty folders, an archive of folders only.
Beside each one: <name>.expect, what `bsdtar -tvf` lists (size, minute, name per line), and
ref_<name>/, what `bsdtar -xf` made of it. Hostile and damaged archives are built by hand.
"""
import io
import os
import shutil
import subprocess
import sys
import tarfile

from make_extract_inputs import local_epoch as stamp, run, write_files


LONG = "a-rather-long-folder-name-to-pass-the-ustar-limit/" * 2 + "and-a-file-name-that-is-long-too.txt"


def tree(root):
    files = {
        "readme.txt": (b"tar test\n", (2024, 3, 5, 14, 30, 11)),
        "docs/numbers.txt": ("".join("%d\n" % i for i in range(30000)).encode(), (2023, 7, 15, 9, 5, 0)),
        "docs/deep/er/note.md": (b"# note\n" * 40, (2022, 12, 24, 18, 0, 3)),
        "docs/zero.bin": (b"", (2021, 1, 1, 0, 0, 0)),
        "data/random.bin": (os.urandom(70000), (2024, 8, 1, 23, 59, 58)),
        LONG: (b"long\n", (2020, 6, 30, 12, 0, 0)),
        "Mixed Case Name.TXT": (b"case\n", (2020, 6, 30, 12, 1, 0)),
    }
    write_files(root, files)
    os.makedirs(os.path.join(root, "empty/inner"))
    t = stamp(2019, 2, 3, 4, 5, 6)
    for folder in ["empty/inner", "empty", "docs/deep/er", "docs/deep", "docs", "data",
                   os.path.dirname(LONG), os.path.dirname(os.path.dirname(LONG))]:
        os.utime(os.path.join(root, folder), (t, t))


# Names in three scripts, and the legacy code pages TARs of older systems carry them in.
NAMES = ["Überordner/Äpfel und Öl.txt", "Документы/Привет мир.txt", "日本語/メモ.txt"]
LEGACY = [("legacy_cp866.tar", "cp866", NAMES[1]), ("legacy_koi8r.tar", "koi8_r", NAMES[1]),
          ("legacy_eucjp.tar", "euc_jp", NAMES[2]), ("legacy_cp1252.tar", "cp1252", NAMES[0])]


def scripts(root):
    write_files(root, {name: (name.encode() + b"\n", (2024, 1, 2, 3, 4, 6)) for name in NAMES})
    t = stamp(2024, 1, 2, 3, 4, 8)
    for name in NAMES:
        os.utime(os.path.join(root, os.path.dirname(name)), (t, t))


def legacy(out):
    """Raw names in a legacy code page, as GNU tar on such a system wrote them; each archive's
    names are listed in <name>.names, UTF-8, for the test to compare."""
    for archive, encoding, name in LEGACY:
        with tarfile.open(os.path.join(out, archive), "w", format=tarfile.GNU_FORMAT, encoding=encoding) as tf:
            for member in [os.path.dirname(name) + "/", name]:
                info = tarfile.TarInfo(member)
                info.type = tarfile.DIRTYPE if member.endswith("/") else tarfile.REGTYPE
                info.mtime = 1700000000
                data = name.encode() + b"\n"
                info.size = 0 if info.type == tarfile.DIRTYPE else len(data)
                tf.addfile(info, None if info.type == tarfile.DIRTYPE else io.BytesIO(data))
        with open(os.path.join(out, archive + ".names"), "w", encoding="utf-8") as f:
            f.write(os.path.dirname(name) + "/\n" + name + "\n")


def long_path(root):
    """One file whose path is longer than the 259 characters a narrow path may take."""
    name = os.path.join(*["folder_%d_" % i + "d" * 50 for i in range(5)], "file_" + "f" * 40 + ".txt")
    os.makedirs(os.path.join(root, os.path.dirname(name)))
    with open(os.path.join(root, name), "wb") as f:
        f.write(b"at the end of a long path\n" * 40)
    assert len(name) > 300


def only_folders(root):
    for folder in ["a/b/c", "a/d", "e"]:
        os.makedirs(os.path.join(root, folder))


def expect(archive):
    """bsdtar's listing: size, modification time (seconds since 1970, which bsdtar shows
    only to the minute or the year, so it comes from tarfile) and name per line."""
    out = subprocess.run(["bsdtar", "-tvf", archive], check=True, capture_output=True,
                         env=dict(os.environ, LC_ALL="C.UTF-8")).stdout.decode()
    names = subprocess.run(["bsdtar", "-tf", archive], check=True, capture_output=True).stdout.decode()
    plain = subprocess.run(["bsdcat", archive], check=True, capture_output=True).stdout
    with tarfile.open(fileobj=io.BytesIO(plain)) as tf:
        times = {m.name.rstrip("/"): int(m.mtime) for m in tf.getmembers()}
    lines = []
    for verbose, name in zip(out.splitlines(), names.splitlines()):
        size = verbose.split()[4]
        lines.append("%s\t%d\t%s" % (size, times[name.rstrip("/")], name))
    with open(archive + ".expect", "w") as f:
        f.write("\n".join(lines) + "\n")


def reference(archive, out):
    ref = os.path.join(out, "ref_" + os.path.basename(archive))
    os.makedirs(ref)
    run("bsdtar", "-xf", archive, "-C", ref)


def hostile(out):
    """Archives whose names or links point outside the destination."""
    def add(tf, name, data=b"x", kind=tarfile.REGTYPE, link=""):
        info = tarfile.TarInfo(name)
        info.type = kind
        info.linkname = link
        info.mtime = 1700000000
        info.size = len(data) if kind == tarfile.REGTYPE else 0
        tf.addfile(info, io.BytesIO(data) if kind == tarfile.REGTYPE else None)

    with tarfile.open(os.path.join(out, "hostile.tar"), "w", format=tarfile.GNU_FORMAT) as tf:
        add(tf, "good.txt", b"good\n")
        add(tf, "../escaped-dotdot.txt")
        add(tf, "sub/../../escaped-deep.txt")
        add(tf, "/tmp/escaped-absolute.txt")
        add(tf, "c:/escaped-drive.txt")
        add(tf, "outlink", kind=tarfile.SYMTYPE, link="../outside")
        add(tf, "outlink/escaped-through-link.txt")
        add(tf, "hard-out", kind=tarfile.LNKTYPE, link="../secret.txt")
        add(tf, "hard-abs", kind=tarfile.LNKTYPE, link="/etc/passwd")
        add(tf, "con.txt")
        add(tf, "also-good/inside.txt", b"inside\n")
        add(tf, "also-good/hard-in", kind=tarfile.LNKTYPE, link="good.txt")


def damaged(out, source):
    data = open(source, "rb").read()
    # Cut in the middle of the data: the listing ends with what came before.
    open(os.path.join(out, "truncated.tar.gz"), "wb").write(data[: len(data) * 2 // 3])
    with open(os.path.join(out, "garbage.tar"), "wb") as f:
        f.write(bytes((i * 37) & 0xFF for i in range(5000)))


def viewable(out):
    """A program entry: viewing asks before starting it, so a test starts nothing."""
    with tarfile.open(os.path.join(out, "view.tar"), "w", format=tarfile.USTAR_FORMAT) as tf:
        info = tarfile.TarInfo("bin/tool.exe")
        info.size = 4
        tf.addfile(info, io.BytesIO(b"MZ\0\0"))


def main():
    out = sys.argv[1]
    shutil.rmtree(out, ignore_errors=True)
    os.makedirs(out)
    src = os.path.join(out, "src")
    tree(src)
    folders = os.path.join(out, "folders")
    only_folders(folders)
    names = os.path.join(out, "names")
    scripts(names)
    deep = os.path.join(out, "longpath")
    long_path(deep)
    made = []

    def gnu(name, *flags, source=src, dot=False):
        members = ["."] if dot else sorted(os.listdir(source))
        run("tar", "--sort=name", *flags, "-cf", os.path.join(out, name), "-C", source, *members)
        made.append(name)

    gnu("gnu_ustar.tar", "--format=ustar")
    gnu("gnu_pax.tar.gz", "--format=pax", "-z")
    gnu("gnu_gnu.tar.bz2", "--format=gnu", "-j")
    gnu("gnu_gnu.tgz", "--format=gnu", "-z", dot=True)
    for name, compressor in [("gnu_pax.tar.xz", "xz"), ("gnu_pax.tzst", "zstd"), ("gnu_pax.tar.lz4", "lz4"),
                             ("gnu_pax.tar.lzma", "lzma")]:
        gnu(name, "--format=pax", "--use-compress-program=" + compressor)
    gnu("folders.tar", "--format=gnu", source=folders)
    gnu("names_gnu.tar", "--format=gnu", source=names)
    gnu("names_pax.tar.gz", "--format=pax", "-z", source=names)
    gnu("longpath.tar", "--format=gnu", source=deep)
    run("bsdtar", "--format=ustar", "-cf", os.path.join(out, "bsd_ustar.tar"), "-C", src,
        "readme.txt", "docs", "empty", "data")
    made.append("bsd_ustar.tar")
    run("bsdtar", "--format=pax", "-Z", "-cf", os.path.join(out, "bsd_pax.tar.Z"), "-C", src, *sorted(os.listdir(src)))
    made.append("bsd_pax.tar.Z")
    for fmt, name in [("pax", "bsd_pax.tar.bz2"), ("gnutar", "bsd_gnu.tar.gz")]:
        run("bsdtar", "--format=" + fmt, "-a", "-cf", os.path.join(out, name), "-C", src, *sorted(os.listdir(src)))
        made.append(name)
    for fmt, name in [(tarfile.USTAR_FORMAT, "py_ustar.tar"), (tarfile.PAX_FORMAT, "py_pax.tar.gz")]:
        with tarfile.open(os.path.join(out, name), "w:gz" if name.endswith(".gz") else "w", format=fmt) as tf:
            for entry in ["readme.txt", "docs", "empty"]:
                tf.add(os.path.join(src, entry), entry)
        made.append(name)
    for name in made:
        expect(os.path.join(out, name))
        reference(os.path.join(out, name), out)
    for name, data in [("add/readme.txt", b"replacement readme\n"), ("add/extra/new.txt", b"new\n")]:
        os.makedirs(os.path.dirname(os.path.join(out, name)), exist_ok=True)
        open(os.path.join(out, name), "wb").write(data)
    # Single compressed files: no TAR inside.
    for name, tool in [("notes.txt.gz", "gzip"), ("notes.txt.bz2", "bzip2"), ("notes.txt.xz", "xz"),
                       ("notes.txt.zst", "zstd"), ("notes.txt.lz4", "lz4")]:
        with open(os.path.join(src, "docs/numbers.txt"), "rb") as source, open(os.path.join(out, name), "wb") as f:
            subprocess.run([tool, "-c"], stdin=source, stdout=f, check=True)
    hostile(out)
    legacy(out)
    damaged(out, os.path.join(out, "gnu_pax.tar.gz"))
    viewable(out)


if __name__ == "__main__":
    main()
