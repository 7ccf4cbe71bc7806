#!/usr/bin/env python3
"""Draws the program icon (a kestrel-brown box with a zip stripe) at 16, 32 and 48 pixels
and writes it as a Windows .ico file, so no binary asset lives in the repository."""
import struct
import sys


def image(size):
    rows = []
    for y in range(size):
        row = bytearray()
        for x in range(size):
            m = max(1, size // 8)
            inside = m <= x < size - m and m + size // 8 <= y < size - m
            lid = m <= x < size - m and m <= y < m + size // 8 + 1
            stripe = abs(x - size // 2) <= max(0, size // 16) and y >= m
            teeth = stripe and (y // max(1, size // 16)) % 2 == 0
            if teeth:
                b, g, r, a = 40, 40, 40, 255
            elif stripe:
                b, g, r, a = 200, 200, 200, 255
            elif lid:
                b, g, r, a = 40, 90, 150, 255
            elif inside:
                b, g, r, a = 60, 130, 200, 255
            else:
                b, g, r, a = 0, 0, 0, 0
            row += bytes((b, g, r, a))
        rows.append(bytes(row))
    pixels = b"".join(reversed(rows))  # bottom-up
    mask_row = ((size + 31) // 32) * 4
    mask = bytes(mask_row * size)
    header = struct.pack("<IiiHHIIiiII", 40, size, size * 2, 1, 32, 0, len(pixels) + len(mask), 0, 0, 0, 0)
    return header + pixels + mask


def main(out):
    sizes = (16, 32, 48)
    blobs = [image(s) for s in sizes]
    data = struct.pack("<HHH", 0, 1, len(sizes))
    offset = 6 + 16 * len(sizes)
    for s, blob in zip(sizes, blobs):
        data += struct.pack("<BBBBHHII", s, s, 0, 0, 1, 32, len(blob), offset)
        offset += len(blob)
    with open(out, "wb") as f:
        f.write(data + b"".join(blobs))


if __name__ == "__main__":
    main(sys.argv[1])
