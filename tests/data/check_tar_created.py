#!/usr/bin/env python3
"""Reads back with bsdtar the archives test_tar_dll created and extended in DIR/created.

    check_tar_created.py DIR
"""
import os
import subprocess
import sys
import tempfile

root = sys.argv[1]
created = os.path.join(root, "created")
failures = []


def listing(name):
    return subprocess.run(["bsdtar", "-tf", os.path.join(created, name)], check=True,
                          capture_output=True).stdout.decode().splitlines()


def member(name, entry):
    return subprocess.run(["bsdtar", "-xOf", os.path.join(created, name), entry], check=True,
                          capture_output=True).stdout


def check(what, got, want):
    if got != want:
        failures.append("%s: %r != %r" % (what, got, want))


src = os.path.join(root, "src")
for name, magic in [("new.tar", None), ("new.tar.gz", b"\x1f\x8b"), ("new.tar.bz2", b"BZh"),
                    ("new.tar.xz", b"\xfd7zXZ"), ("new.tzst", b"\x28\xb5\x2f\xfd"), ("new.tar.lz4", b"\x04\x22\x4d\x18")]:
    check(name + " entries", listing(name), ["readme.txt", "docs/numbers.txt", "empty/"])
    if magic:
        check(name + " compression", open(os.path.join(created, name), "rb").read(len(magic)), magic)
    for entry in ["readme.txt", "docs/numbers.txt"]:
        check(name + " " + entry, member(name, entry), open(os.path.join(src, entry), "rb").read())
    with tempfile.TemporaryDirectory() as out:
        subprocess.run(["bsdtar", "-xf", os.path.join(created, name), "-C", out], check=True)
        check(name + " time", int(os.stat(os.path.join(out, "readme.txt")).st_mtime),
              int(os.stat(os.path.join(src, "readme.txt")).st_mtime))

old = subprocess.run(["bsdtar", "-tf", os.path.join(root, "gnu_gnu.tar.bz2")], check=True,
                     capture_output=True).stdout.decode().splitlines()
check("extended entries", listing("extended.tar.bz2"), old + ["readme.txt", "extra/new.txt"])
check("replaced entries", listing("replaced.tar.bz2"), [n for n in old if n != "readme.txt"] +
      ["readme.txt", "extra/new.txt"])
check("replaced bytes", member("replaced.tar.bz2", "readme.txt"), b"replacement readme\n")
check("extended kept bytes", member("extended.tar.bz2", "docs/numbers.txt"),
      open(os.path.join(src, "docs/numbers.txt"), "rb").read())
check("extended compression", open(os.path.join(created, "extended.tar.bz2"), "rb").read(3), b"BZh")

for f in failures:
    print(f)
sys.exit(1 if failures else 0)
