#!/usr/bin/env python3
"""Makes the 7z archives the 7z tests read.

    make_7z_inputs.py OUTDIR

`7zz` packs the tree src/ in each way the table below names (solid and not, several methods
and filters, encrypted data, encrypted names). Beside each archive: <name>.expect, the files
`7zz l -slt` lists (size TAB name, names with "\\"). The password is "secret". links.7z keeps
two symbolic links, hostile.7z (bsdtar) names that leave the destination; damaged.7z has a changed byte in an entry's data, cut.7z lost its end.
"""
import os
import shutil
import subprocess
import sys

from make_extract_inputs import write_files

PASSWORD = "secret"

TREE = {
    "readme.txt": (b"7z test\n", (2024, 3, 5, 14, 30, 10)),
    "bin/tool.exe": (b"MZ\x90\0" + bytes(range(256)) * 300, (2024, 3, 5, 14, 31, 0)),
    "docs/numbers.txt": ("".join("%d\n" % i for i in range(30000)).encode(), (2023, 7, 15, 9, 4, 58)),
    "docs/deep/note.md": (b"# note\n" * 40, (2022, 12, 24, 18, 0, 2)),
    "docs/zero.bin": (b"", (2021, 1, 1, 0, 0, 0)),
    "data/random.bin": (os.urandom(300000), (2024, 8, 1, 23, 59, 58)),
    "Ärger über/Grüße.txt": ("Grüße aus Köln\n".encode(), (2020, 6, 30, 12, 0, 0)),
    "日本語/テキスト.txt": ("日本語のテキスト\n".encode(), (2020, 6, 30, 12, 1, 0)),
    "Ελληνικά/κείμενο.txt": ("ελληνικό κείμενο\n".encode(), (2020, 6, 30, 12, 2, 0)),
}

# name: 7zz switches. Small solid blocks (-ms=e, a block per extension, or -ms=2f) give archives
# of several blocks, so a selection crosses blocks.
ARCHIVES = {
    "plain.7z": ["-ms=off"],
    "solid.7z": ["-ms=on"],
    "blocks.7z": ["-ms=2f"],
    "ppmd.7z": ["-m0=PPMd", "-ms=on"],
    "bzip2.7z": ["-m0=BZip2", "-ms=off"],
    "deflate.7z": ["-m0=Deflate"],
    "bcj2.7z": ["-m0=BCJ2", "-m1=LZMA:d20", "-m2=LZMA:d20", "-m3=LZMA:d20", "-mb0s0:1", "-mb0s1:2", "-mb0s2:3"],
    "delta.7z": ["-m0=Delta:4", "-m1=LZMA2"],
    "encrypted.7z": ["-p" + PASSWORD, "-ms=on"],
    "encrypted_names.7z": ["-p" + PASSWORD, "-mhe=on", "-ms=2f"],
}


def listing(archive, password=None):
    """The files `7zz l -slt` lists: (size, name with "\\") sorted."""
    args = ["7zz", "l", "-slt", "-sccUTF-8", "-p" + (password or "-"), archive]
    out = subprocess.run(args, capture_output=True, check=True).stdout.decode()
    files, entry = [], {}
    for line in out.split("----------", 1)[-1].splitlines() + [""]:
        if " = " in line:
            key, value = line.split(" = ", 1)
            entry[key] = value
        elif not line.strip() and entry:
            if not entry.get("Attributes", "").startswith("D"):
                files.append((int(entry["Size"]), entry["Path"].replace("/", "\\")))
            entry = {}
    return sorted(files)


def main():
    out = os.path.abspath(sys.argv[1])
    shutil.rmtree(out, ignore_errors=True)
    src = os.path.join(out, "src")
    write_files(src, TREE)
    os.makedirs(os.path.join(src, "empty", "inner"))
    if not shutil.which("7zz"):
        sys.exit("7zz is missing")
    for name, switches in ARCHIVES.items():
        path = os.path.join(out, name)
        subprocess.run(["7zz", "a", "-bd", "-y", *switches, path, "."], cwd=src, check=True,
                       stdout=subprocess.DEVNULL)
        password = PASSWORD if any(s.startswith("-p") for s in switches) else None
        files = listing(path, password)
        if len(files) != len(TREE):
            sys.exit("%s: 7zz lists %d files, not %d" % (name, len(files), len(TREE)))
        with open(path + ".expect", "w", encoding="utf-8") as f:
            for size, entry in files:
                f.write("%d\t%s\n" % (size, entry))
    # Links kept as links (-snl): one out of the destination, one up to its parent.
    links = os.path.join(out, "links")
    write_files(links, {"fine.txt": b"fine\n"})
    os.symlink("/etc/hostname", os.path.join(links, "escape"))
    os.symlink("..", os.path.join(links, "up"))
    subprocess.run(["7zz", "a", "-bd", "-snl", os.path.join(out, "links.7z"), "."], cwd=links, check=True,
                   stdout=subprocess.DEVNULL)
    # Names that climb out, start at the root or name a device, which 7zz would not store:
    # bsdtar keeps them as given (-P) after renaming them (-s).
    hostile = os.path.join(out, "hostile")
    write_files(hostile, {"fine.txt": b"fine\n", "climbed.txt": b"up\n", "rooted.txt": b"root\n", "con.txt": b"dev\n"})
    subprocess.run(["bsdtar", "-P", "--format", "7zip", "-s", ",^climbed,../climbed,", "-s", ",^rooted,/rooted,",
                    "-s", ",^con.txt,CON,", "-cf", os.path.join(out, "hostile.7z"),
                    "fine.txt", "climbed.txt", "rooted.txt", "con.txt"], cwd=hostile, check=True)
    # A byte of the first entry's packed data changed (its checksum fails, the others read), and
    # an archive cut in half (its headers, at the end, are gone).
    plain = bytearray(open(os.path.join(out, "plain.7z"), "rb").read())
    plain[32 + 40] ^= 0x55
    open(os.path.join(out, "damaged.7z"), "wb").write(bytes(plain))
    solid = open(os.path.join(out, "solid.7z"), "rb").read()
    open(os.path.join(out, "cut.7z"), "wb").write(solid[:len(solid) // 2])

if __name__ == "__main__":
    main()
