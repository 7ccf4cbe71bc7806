#!/usr/bin/env python3
"""Checks the archives the creation tests wrote with the peer tools: each passes `unzip -t`
and `7zz t`, and both tools extract it to the bytes and modification times of the source
folder under the entry names the run asked for.

Usage: check_created.py DIR   (DIR/tree the source, DIR/out/manifest.txt one line per archive:
archive <TAB> password <TAB> prefix <TAB> plain)"""
import os
import shutil
import subprocess
import sys
import tempfile

root = sys.argv[1]
tree = os.path.join(root, "tree")
manifest = os.path.join(root, "out", "manifest.txt")
failures = []


def expected(prefix, plain):
    files, folders = {}, set()
    for dirpath, dirnames, filenames in os.walk(tree):
        rel = os.path.relpath(dirpath, tree)
        for d in dirnames:
            if not plain:
                folders.add(os.path.normpath(os.path.join(prefix, rel, d)))
        for f in filenames:
            src = os.path.join(dirpath, f)
            name = f if plain else os.path.normpath(os.path.join(rel, f))
            files[os.path.normpath(os.path.join(prefix, name))] = src
    return files, folders


def compare(label, got_dir, files, folders):
    got = set()
    for dirpath, _, filenames in os.walk(got_dir):
        for f in filenames:
            got.add(os.path.relpath(os.path.join(dirpath, f), got_dir))
    if got != set(files):
        failures.append("%s: names %s, expected %s" % (label, sorted(got), sorted(files)))
        return
    for name, src in files.items():
        dst = os.path.join(got_dir, name)
        if open(dst, "rb").read() != open(src, "rb").read():
            failures.append("%s: bytes of %s differ" % (label, name))
        if abs(os.path.getmtime(dst) - os.path.getmtime(src)) > 2:
            failures.append("%s: time of %s %s, expected %s" % (label, name, os.path.getmtime(dst), os.path.getmtime(src)))
    for folder in folders:
        if not os.path.isdir(os.path.join(got_dir, folder)):
            failures.append("%s: folder %s missing" % (label, folder))


# unzip turns UTF-8 names into the locale's character set: the locale must be a UTF-8 one.
ENV = dict(os.environ, LC_ALL="C.UTF-8", LANG="C.UTF-8")


def run(label, args):
    r = subprocess.run(args, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, env=ENV)
    if r.returncode != 0:
        failures.append("%s: %s exit %d\n%s" % (label, args[0], r.returncode, r.stdout.decode(errors="replace")[-2000:]))
    return r.returncode == 0


lines = [l.rstrip("\n") for l in open(manifest, encoding="utf-8") if l.strip()]
if not lines:
    sys.exit("no archives listed in " + manifest)
for line in lines:
    archive, password, prefix, plain = line.split("\t")
    path = os.path.join(root, "out", archive)
    files, folders = expected(prefix, plain == "1")
    pw_unzip = ["-P", password] if password else []
    pw_7z = ["-p" + password] if password else ["-p"]
    run(archive + " unzip -t", ["unzip", "-tq"] + pw_unzip + [path])
    # No entry is written deflated into more bytes than it has (an encrypted one carries a
    # 12-byte header on top).
    listing = subprocess.run(["unzip", "-v", path], stdout=subprocess.PIPE, env=ENV).stdout.decode(errors="replace")
    for row in listing.splitlines():
        cols = row.split(None, 7)
        if len(cols) == 8 and cols[0].isdigit() and cols[1].startswith("Defl") and \
                int(cols[2]) - (12 if password else 0) >= int(cols[0]):
            failures.append("%s: %s deflated from %s into %s bytes" % (archive, cols[7], cols[0], cols[2]))
    run(archive + " 7zz t", ["7zz", "t", "-bd"] + pw_7z + [path])
    for tool in ("unzip", "7zz"):
        dest = tempfile.mkdtemp(prefix="created_")
        if tool == "unzip":
            ok = run(archive + " unzip -x", ["unzip", "-q"] + pw_unzip + [path, "-d", dest])
        else:
            ok = run(archive + " 7zz x", ["7zz", "x", "-bd", "-y"] + pw_7z + ["-o" + dest, path])
        if ok:
            compare("%s by %s" % (archive, tool), dest, files, folders)
        shutil.rmtree(dest, ignore_errors=True)
    print("checked", archive)

if failures:
    print("\n".join(failures))
    sys.exit(1)
print("all %d archives valid" % len(lines))
