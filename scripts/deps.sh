#!/usr/bin/env bash
# Fetches the Debian source packages of the third-party libraries that are built for the
# Windows target. It uses an apt configuration of its own under build/deps, derived from the
# machine's binary sources, so the machine's apt set-up is never touched. Each package is
# unpacked once per version into build/deps/src/<package>-<version>; a file
# build/deps/<package>.dir names the current folder for CMake.
#
# The peer tools the tests and benches need that the machine's own apt sources lack (rar and
# unrar, from non-free) come the same way as binary packages: downloaded, unpacked once per
# version into build/deps/tools/<package>-<version>, their programs linked from
# build/deps/tools/bin. Nothing is installed on the machine.
#
#   scripts/deps.sh [package ...]      (default: every package the build needs, and the tools)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
deps=${KESTRELIA_DEPS:-$root/build/deps}
apt_dir=$deps/apt
mkdir -p "$apt_dir/lists/partial" "$apt_dir/cache/archives/partial" "$deps/src"

wanted=("$@")
tools=()
if [ ${#wanted[@]} -eq 0 ]; then
  wanted=(zlib bzip2 libarchive libdeflate unrar-nonfree expat xz-utils libzstd lz4 7zip)
  tools=(rar unrar)
fi

# deb-src entries for every Debian source the machine already uses, with non-free added.
# The binary lines (non-free only, for the peer tools) came later: a list without them is made
# again.
sources=$apt_dir/sources.list
if [ ! -s "$sources" ] || ! grep -q '^deb ' "$sources"; then
  python3 - "$sources" <<'PY'
import glob, re, sys
out = []
def add(uri, suite, signed):
    opt = " [signed-by=%s]" % signed if signed else ""
    for line in ("deb-src%s %s %s main non-free" % (opt, uri, suite),
                 "deb%s %s %s non-free" % (opt, uri, suite)):
        if line not in out:
            out.append(line)
for path in glob.glob("/etc/apt/sources.list.d/*.sources"):
    for stanza in re.split(r"\n\s*\n", open(path).read()):
        f = {}
        for l in stanza.splitlines():
            if ":" in l and not l.startswith("#"):
                k, v = l.split(":", 1)
                f[k.strip().lower()] = v.strip()
        if "deb" not in f.get("types", "").split() or "debian" not in f.get("uris", ""):
            continue
        for uri in f["uris"].split():
            for suite in f.get("suites", "").split():
                add(uri, suite, f.get("signed-by", ""))
for path in ["/etc/apt/sources.list"] + glob.glob("/etc/apt/sources.list.d/*.list"):
    try:
        lines = open(path).read().splitlines()
    except OSError:
        continue
    for l in lines:
        m = re.match(r"deb\s+(\[[^\]]*\]\s+)?(\S+)\s+(\S+)", l)
        if m and "debian" in m.group(2):
            add(m.group(2), m.group(3), "")
if not out:
    sys.exit("no Debian sources found in /etc/apt")
open(sys.argv[1], "w").write("\n".join(out) + "\n")
PY
fi

aptopts=(-o "Dir::Etc::sourcelist=$sources" -o "Dir::Etc::sourceparts=-"
         -o "Dir::State::Lists=$apt_dir/lists" -o "Dir::Cache=$apt_dir/cache"
         -o "APT::Get::List-Cleanup=0" -o "Debug::NoLocking=1" -o "APT::Sandbox::User=root")

# Lists older than a day are refreshed; otherwise reuse them.
if [ -z "$(find "$apt_dir/lists" -name '*Sources*' -mtime -1 2>/dev/null | head -1)" ] ||
   [ -z "$(find "$apt_dir/lists" -name '*non-free*Packages*' -mtime -1 2>/dev/null | head -1)" ]; then
  echo "== refreshing private source lists"
  apt-get "${aptopts[@]}" update -qq
fi

for pkg in "${wanted[@]}"; do
  versions=$(apt-cache "${aptopts[@]}" showsrc "$pkg" | awk '/^Version:/ {print $2}' | sort -Vr | uniq)
  [ -n "$versions" ] || { echo "no source package $pkg" >&2; exit 1; }
  # Our fixes to a library live in cmake/patches/<package>/ and are part of the cache key.
  patches=("$root"/cmake/patches/$pkg/*.patch)
  [ -e "${patches[0]}" ] || patches=()
  key=plain
  [ ${#patches[@]} -eq 0 ] || key=$(cat "${patches[@]}" | sha256sum | cut -c1-8)
  # The newest version first; a mirror that lists a version it does not (yet) serve leaves
  # the next older one, and the failed version is not asked for again until the lists are.
  found=
  for ver in $versions; do
    dir=$deps/src/$pkg-${ver//:/_}-$key
    [ -n "$(find "$dir.unavailable" -mtime -1 2>/dev/null)" ] && continue
    if [ ! -f "$dir/.unpacked" ]; then
      echo "== fetching source $pkg $ver"
      rm -rf "$dir" "$dir.tmp" && mkdir -p "$dir.tmp"
      if ! (cd "$dir.tmp" && apt-get "${aptopts[@]}" source -qq "$pkg=$ver" >/dev/null); then
        echo "== $pkg $ver could not be fetched"
        rm -rf "$dir.tmp"
        touch "$dir.unavailable"
        continue
      fi
      tree=$(find "$dir.tmp" -mindepth 1 -maxdepth 1 -type d | head -1)
      for p in "${patches[@]}"; do patch -d "$tree" -p1 -s < "$p"; done
      mv "$tree" "$dir" && rm -rf "$dir.tmp"
      touch "$dir/.unpacked"
    fi
    found=$dir
    break
  done
  [ -n "$found" ] || { echo "no version of $pkg could be fetched" >&2; exit 1; }
  echo "$found" > "$deps/$pkg.dir"
done

# The peer tools: each package's programs under tools/bin, the newest version unpacked.
mkdir -p "$deps/tools/bin"
for pkg in "${tools[@]}"; do
  ver=$(apt-cache "${aptopts[@]}" show "$pkg" 2>/dev/null | awk '/^Version:/ {print $2}' | sort -V | tail -1)
  [ -n "$ver" ] || { echo "no binary package $pkg" >&2; exit 1; }
  dir=$deps/tools/$pkg-${ver//:/_}
  if [ ! -f "$dir/.unpacked" ]; then
    echo "== fetching tool $pkg $ver"
    rm -rf "$dir" "$dir.tmp" && mkdir -p "$dir.tmp"
    (cd "$dir.tmp" && apt-get "${aptopts[@]}" download -qq "$pkg=$ver" >/dev/null)
    dpkg -x "$dir.tmp"/*.deb "$dir.tmp/root"
    mv "$dir.tmp/root" "$dir" && rm -rf "$dir.tmp"
    touch "$dir/.unpacked"
  fi
  for program in "$dir"/usr/bin/*; do
    [ -x "$program" ] || continue
    name=$(basename "$program")
    ln -sfn "$program" "$deps/tools/bin/$name"
    # Debian names its unrar "unrar-nonfree" and links the usual name through alternatives.
    case $name in *-nonfree) ln -sfn "$program" "$deps/tools/bin/${name%-nonfree}" ;; esac
  done
done
