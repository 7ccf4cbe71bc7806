#!/usr/bin/env python3
"""Makes the ZIP archives the rewrite tests change, with the real peer tools (zip, 7zz) and
python's zipfile: folder entries, a comment, encryption, data descriptors, 64-bit extras, a
name in the DOS code page without the UTF-8 flag, and one archive of a few MiB.

    make_rewrite_inputs.py OUTDIR
"""
import os
import random
import shutil
import subprocess
import sys
import zipfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from make_zip_inputs import run, tree  # noqa: E402


def main(out):
    shutil.rmtree(out, ignore_errors=True)
    src = os.path.join(out, "src")
    tree(src)  # the listing tests' tree: folders, an empty file, random bytes
    zipped = lambda name, *flags: run("zip", "-q", "-r", *flags, os.path.join(out, name), ".", cwd=src)

    zipped("deflated.zip")
    subprocess.run(["zip", "-q", "-z", os.path.join(out, "deflated.zip")], input=b"kept comment\n", check=True)
    zipped("nodirs.zip", "-D")
    zipped("encrypted.zip", "-P", "secret")
    run("7zz", "a", "-tzip", "-bd", "-bso0", os.path.join(out, "sevenzip.zip"), ".", cwd=src)
    # Written to a pipe, every entry ends in a data descriptor.
    with open(os.path.join(out, "stream.zip"), "wb") as f:
        zipper = subprocess.Popen(["zip", "-q", "-r", "-D", "-", "."], cwd=src, stdout=subprocess.PIPE)
        shutil.copyfileobj(zipper.stdout, f)
        assert zipper.wait() == 0

    with zipfile.ZipFile(os.path.join(out, "python.zip"), "w", zipfile.ZIP_DEFLATED) as z:
        z.writestr("a/b/c.txt", b"hello " * 100)
        z.writestr("a/", b"")
        with z.open("forced64.bin", "w", force_zip64=True) as f:
            f.write(b"x" * 1000)
        z.writestr("top.txt", b"top")
        z.comment = b"an archive comment"

    # Empty folders, which only their folder entries hold.
    with zipfile.ZipFile(os.path.join(out, "folders.zip"), "w", zipfile.ZIP_DEFLATED) as z:
        for name in ("docs/", "docs/a.txt", "docs/empty/", "empty/", "readme.txt"):
            z.writestr(name, b"" if name.endswith("/") else name.encode() * 10)

    # "Gr\x81\xe1e.txt" is "Gruesse" with umlaut and sharp s in the DOS code page, stored without
    # the UTF-8 flag: python would flag it, so a placeholder of the same length is patched.
    path = os.path.join(out, "oemname.zip")
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as z:
        z.writestr("GrXYe.txt", b"greetings\n")
        z.writestr("plain.txt", b"plain\n")
    with open(path, "rb") as f:
        data = f.read()
    with open(path, "wb") as f:
        f.write(data.replace(b"GrXYe.txt", b"Gr\x81\xe1e.txt"))

    # A few MiB, so copies span several buffers and a fault can strike in the middle.
    rnd = random.Random(11)
    with zipfile.ZipFile(os.path.join(out, "large.zip"), "w", zipfile.ZIP_STORED) as z:
        for i in range(6):
            z.writestr("part%d.bin" % i, rnd.randbytes(1536 * 1024))
        for i in range(200):
            z.writestr("small/%03d.txt" % i, ("line %d\n" % i).encode() * 20)


if __name__ == "__main__":
    main(sys.argv[1])
