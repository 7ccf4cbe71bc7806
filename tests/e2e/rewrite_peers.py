#!/usr/bin/env python3
"""Renames, moves and deletes with the engine (rewriteengine.exe under Wine), then asks the
peer tools: `unzip -Z -v` must report every field of a renamed entry as before (but its name
and offset), `unzip -t` and `7zz t` must pass, the entries must extract to the same bytes and
the comment must survive.

    rewrite_peers.py   (KESTRELIA_BIN, KESTRELIA_TESTDATA point at the build and the inputs)
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

BIN = os.environ["KESTRELIA_BIN"]
DATA = os.environ["KESTRELIA_TESTDATA"]
failures = []


def check(what, ok, detail=""):
    print(("ok: " if ok else "FAIL: ") + what + ("" if ok else " " + detail))
    if not ok:
        failures.append(what)


def winpath(path):
    return subprocess.run(["winepath", "-w", path], capture_output=True, text=True).stdout.strip()


def engine(archive, *args):
    out = subprocess.run(["wine", os.path.join(BIN, "rewriteengine.exe"), winpath(archive), *args],
                         capture_output=True, text=True)
    return out.stdout.replace("\r", "")


def entry_blocks(archive):
    """unzip -Z -v per entry, without what a rename or a move must change."""
    text = subprocess.run(["unzip", "-Z", "-v", archive], capture_output=True, text=True).stdout
    blocks = {}
    for part in re.split(r"\nCentral directory entry #\d+:\n-+\n", text)[1:]:
        # unzip's guesses about gaps between entries depend on their neighbours, not on them.
        lines = [l for l in part.strip("\n").split("\n") if "bytes preceding this file" not in l]
        lines = [l for l in lines if l.strip()]
        name = lines[0].strip()
        kept = [l for l in lines[1:] if not re.search(r"offset of local header|^\s+\([0-9A-F]+h\) bytes|length of filename", l)]
        blocks[name] = "\n".join(kept)
    return blocks


def passes(archive):
    u = subprocess.run(["unzip", "-tq", archive], capture_output=True, text=True)
    s = subprocess.run(["7zz", "t", "-bd", archive], capture_output=True, text=True)
    return u.returncode == 0 and s.returncode == 0, u.stdout + u.stderr + s.stdout[-400:]


def content(archive, name):
    return subprocess.run(["unzip", "-p", archive, name], capture_output=True).stdout


def comment(archive):
    return subprocess.run(["unzip", "-z", archive], capture_output=True).stdout.split(b"\n", 1)[-1]


def main():
    work = tempfile.mkdtemp(prefix="kestrelia_rewrite_peers_")
    try:
        cases = [
            ("rename", "deflated.zip", ["--rename", "docs\\numbers.txt=docs\\counted.txt"],
             {"docs/counted.txt": "docs/numbers.txt"}),
            ("move", "deflated.zip", ["--rename", "docs\\deep\\er\\note.md=note.md"], {"note.md": "docs/deep/er/note.md"}),
            ("rename behind data descriptors", "stream.zip", ["--rename", "noise.bin=n.bin"], {"n.bin": "noise.bin"}),
            ("rename in 7-Zip's archive", "sevenzip.zip", ["--rename", "readme.txt=docs\\readme.txt"],
             {"docs/readme.txt": "readme.txt"}),
            ("delete", "stream.zip", ["--delete", "docs\\numbers.txt"], {}),
        ]
        for title, name, args, renamed in cases:
            archive = os.path.join(work, name)
            shutil.copy(os.path.join(DATA, name), archive)
            original = os.path.join(work, "orig_" + name)
            shutil.copy(archive, original)
            out = engine(archive, *args)
            check(title + ": result 0", "result 0" in out, out)
            ok, detail = passes(archive)
            check(title + ": unzip -t and 7zz t pass", ok, detail)
            check(title + ": the comment survives", comment(archive) == comment(original))
            before, after = entry_blocks(original), entry_blocks(archive)
            for new, old in renamed.items():
                check(title + ": unzip -Z -v reports " + new + " as " + old + " was",
                      after.get(new) == before.get(old), "\n%s\n---\n%s" % (before.get(old), after.get(new)))
                check(title + ": " + new + " extracts to the same bytes", content(archive, new) == content(original, old))
            for old, block in before.items():
                if old in renamed.values() or ("--delete" in args and old == args[1].replace("\\", "/")):
                    check(title + ": " + old + " is gone", old not in after)
                else:
                    check(title + ": " + old + " unchanged", after.get(old) == block)

        archive = os.path.join(work, "all.zip")
        shutil.copy(os.path.join(DATA, "nodirs.zip"), archive)
        names = subprocess.run(["unzip", "-Z1", archive], capture_output=True, text=True).stdout.splitlines()
        args = sum((["--delete", n] for n in names), [])
        out = engine(archive, *args)
        check("deleting every entry: result 0", "result 0" in out, out)
        check("deleting every entry removes the archive", not os.path.exists(archive))
        check("no temporary archive is left", not any(f.endswith(".tmp") for f in os.listdir(work)))
    finally:
        shutil.rmtree(work, ignore_errors=True)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
