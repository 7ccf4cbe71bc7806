"""ZIP archives written byte by byte, for inputs that say what no writer would: hostile names,
sizes that lie, damaged streams, records that overlap."""
import struct
import zlib


def deflate(data):
    c = zlib.compressobj(6, zlib.DEFLATED, -15)
    return c.compress(data) + c.flush()


def raw_zip(path, entries, when=(0, 0x21)):
    """entries: dicts of name (bytes) and data, and where they differ from an honest stored
    entry: method, packed (the stored bytes), declared (the size), flag, extra, and
    central_only (a central record pointing at the previous entry's local record).
    when: the DOS time and date of every entry."""
    body, central, offset = b"", b"", 0
    for e in entries:
        name, data, extra = e["name"], e["data"], e.get("extra", b"")
        packed = e.get("packed", data)
        fields = (e.get("flag", 0), e.get("method", 0), when[0], when[1], zlib.crc32(data), len(packed),
                  e.get("declared", len(data)), len(name), len(extra))
        if not e.get("central_only"):
            offset = len(body)
            body += struct.pack("<IHHHHHIIIHH", 0x04034B50, 20, *fields) + name + extra + packed
        central += struct.pack("<IHHHHHHIIIHHHHHII", 0x02014B50, 20, 20, *fields, 0, 0, 0, 0, offset) + name + extra
    end = struct.pack("<IHHHHIIH", 0x06054B50, 0, 0, len(entries), len(entries), len(central), len(body), 0)
    with open(path, "wb") as f:
        f.write(body + central + end)
