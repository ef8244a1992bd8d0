#!/usr/bin/env python3
"""Adds to an archive of plain code what headers and libraries expect of an import library.

  add_import_pointers.py NM AR ARCHIVE ALIASES

For each external name of ARCHIVE a member with the pointer __imp_NAME, and for each line
"NAME... = OTHER" of ALIASES members with NAME, a jump to OTHER, and its pointer; with the
pointer alone where OTHER is data, as in an import library. One member a name, so that an image
holds only those it uses."""

import struct
import subprocess
import sys
import tempfile
from pathlib import Path

from own_names import PREFIX

TEXT, DATA = 0x60500020, 0xC0400040  # section flags: code; data, both aligned to 16 or 8
ADDR64, REL32 = 1, 4  # relocation types of x86-64
FUNCTION, EXTERNAL = 0x20, 2


def object_file(sections, symbols):
    """sections: (name, flags, bytes, (offset, symbol number, type)); symbols: (name, section, kind)."""
    strings = b""

    def short(name):
        nonlocal strings
        encoded = name.encode()
        if len(encoded) <= 8:
            return encoded.ljust(8, b"\0")
        strings += encoded + b"\0"
        return struct.pack("<II", 0, 4 + len(strings) - len(encoded) - 1)

    headers, bodies = b"", b""
    at = 20 + 40 * len(sections)
    for name, flags, body, relocation in sections:
        headers += short(name) + struct.pack("<IIIIIIHHI", 0, 0, len(body), at, at + len(body), 0, 1, 0,
                                             flags)
        bodies += body + struct.pack("<IIH", *relocation)
        at += len(body) + 10
    table = b"".join(short(name) + struct.pack("<IhHBB", 0, section, kind, EXTERNAL, 0)
                     for name, section, kind in symbols)
    head = struct.pack("<HHIIIHH", 0x8664, len(sections), 0, at, len(symbols), 0, 0)
    return head + headers + bodies + table + struct.pack("<I", 4 + len(strings)) + strings


def pointer(name, other):
    return object_file([(".data", DATA, bytes(8), (0, 1, ADDR64))],
                       [("__imp_" + name, 1, 0), (other, 0, 0)])


def alias(name, other):
    return object_file(
        [(".text", TEXT, b"\xE9" + bytes(4), (1, 2, REL32)), (".data", DATA, bytes(8), (0, 2, ADDR64))],
        [(name, 1, FUNCTION), ("__imp_" + name, 2, 0), (other, 0, FUNCTION)])


def main():
    nm, ar, archive, aliases = sys.argv[1:]
    listed = subprocess.run([nm, "--defined-only", "--extern-only", archive], check=True,
                            capture_output=True, text=True).stdout
    kinds = {fields[2]: fields[1] for fields in map(str.split, listed.splitlines())
             if len(fields) == 3 and fields[1] in "TDBR" and not fields[2].startswith(("_Z", "__imp_", "."))}
    own = {name for name in kinds if name.startswith(PREFIX)}
    with tempfile.TemporaryDirectory() as folder:
        members = []

        def add(member, content):
            members.append(Path(folder) / member)
            members[-1].write_bytes(content)

        for name in sorted(kinds.keys() - own):
            add(f"imp_{name}.o", pointer(name, name))
        for line in Path(aliases).read_text().splitlines():
            line = line.split("#")[0].strip()
            if line:
                those, other = map(str.strip, line.split("="))
                make = pointer if kinds.get(other) in ("D", "B", "R") else alias
                for name in those.split():
                    add(f"alias_{name}.o", make(name, PREFIX + other if PREFIX + other in own else other))
        listing = Path(folder) / "members"
        listing.write_text("\n".join(map(str, members)))
        subprocess.run([ar, "qs", archive, f"@{listing}"], check=True)


if __name__ == "__main__":
    main()
