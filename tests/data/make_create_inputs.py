#!/usr/bin/env python3
"""Makes the folders the archive-creation tests compress, with fixed times, and removes the
archives an earlier run wrote. Usage: make_create_inputs.py OUTDIR"""
import os
import random
import shutil
import sys

out = sys.argv[1]
shutil.rmtree(out, ignore_errors=True)
tree = os.path.join(out, "tree")
rng = random.Random(17)

files = {
    "readme.txt": b"plain text that compresses\n" * 400,
    "random.bin": bytes(rng.getrandbits(8) for _ in range(150000)),
    "empty.txt": b"",
    # Larger than the writer's block: compressed in pieces that must join into one stream.
    "long.log": b"".join(b"line %d of a long log\n" % i for i in range(100000))
    + bytes(rng.getrandbits(8) for _ in range(300000)),
    "sub/deeper/note.txt": b"deep\n" * 50,
    "sub/one.csv": b"a,b,c\n1,2,3\n" * 1000,
    "\u00c4rger \u00fcber.txt": b"umlauts in the name\n",
    "\u65e5\u672c/\u30c6\u30b9\u30c8.txt": b"non-latin names\n" * 10,
}
folders = ["empty folder", "sub/also empty"]

# Even seconds: the DOS time of an entry resolves two seconds.
stamp = 1583298368  # 2020-03-04 05:06:08 UTC
for i, (name, data) in enumerate(sorted(files.items())):
    path = os.path.join(tree, name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as f:
        f.write(data)
    os.utime(path, (stamp + 2 * i, stamp + 2 * i))
for folder in folders:
    os.makedirs(os.path.join(tree, folder), exist_ok=True)
os.makedirs(os.path.join(out, "out"), exist_ok=True)
