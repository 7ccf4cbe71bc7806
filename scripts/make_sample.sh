#!/usr/bin/env bash
# Makes a small sample archive with zip: a few folders, text and binary files.
# Prints the archive's path.
set -euo pipefail
out=${1:?usage: make_sample.sh DIR}
rm -rf "$out" && mkdir -p "$out/src/docs/notes" "$out/src/images"
cd "$out/src"
printf 'Kestrelia sample archive\n' > readme.txt
seq 1 2000 > docs/numbers.txt
printf 'first note\n' > docs/notes/a.md
head -c 4096 /dev/urandom > images/noise.bin
python3 -c "print('x' * 10000)" > docs/repeated.txt
touch -d '2024-03-05 14:30:00' readme.txt docs/numbers.txt docs/notes/a.md images/noise.bin docs/repeated.txt
zip -q -r ../sample.zip .
echo "$out/sample.zip"
