#!/usr/bin/env python3
"""Makes an archive whose routines call each other, not what a program has under the same name.

  own_names.py AR ARCHIVE ALIASES OBJECT...

A program may have a `fopen` of its own that calls `_wfopen`. If that called `fopen` in turn, it
would be the program's, and so on until the stack is full. So a routine that other objects, or
lines of ALIASES, refer to gets a second name, tarn_own_NAME, for these; references within an
object are to its section. Kept are the names of storage, which a program replaces for all, and
those of routines that only read and write their arguments and call nothing that a program has."""

import re
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

PREFIX = "tarn_own_"
KEPT = re.compile(r"_Z|__|_errno$|_gnu_|tarn_|crt_|malloc$|calloc$|realloc$|free$|[jy][01]$|nextafter$|"
                  r"_?(str(?!error|ftime)|mem|wcs(?!ftime)|isw?|tow?(lower|upper)|mb|wcr?tomb)")
FUNCTION, EXTERNAL, STATIC = 0x20, 2, 3
WIDTHS = {1: "<Q", 2: "<I", 3: "<I"} | dict.fromkeys(range(4, 10), "<I")  # by the relocation's type


def names_of_aliases(path):
    lines = (line.split("#")[0] for line in Path(path).read_text().splitlines())
    return {line.split("=")[1].strip() for line in lines if "=" in line}


class Object:
    def __init__(self, path):
        self.path, self.bytes = path, bytearray(path.read_bytes())
        machine, self.sections, _, self.table, self.count = struct.unpack_from("<HHIII", self.bytes)
        if machine != 0x8664:
            raise SystemExit(f"{path}: no object of x86-64")
        self.strings = self.bytes[self.table + 18 * self.count:]
        self.symbols = {}  # by number: name, value, section, type, class, auxiliary entries
        at = 0
        while at < self.count:
            name, *rest = struct.unpack_from("<8sIhHBB", self.bytes, self.table + 18 * at)
            if name[:4] == bytes(4):
                begin = struct.unpack_from("<I", name, 4)[0]
                name = self.strings[begin:self.strings.index(0, begin)]
            self.symbols[at] = (name.rstrip(b"\0").decode(), *rest)
            at += 1 + rest[-1]

    def routines(self, is_defined):
        return {number: symbol for number, symbol in self.symbols.items()
                if symbol[4] == EXTERNAL and (symbol[2] > 0) == is_defined
                and (not is_defined or symbol[3] == FUNCTION) and not KEPT.match(symbol[0])}

    def long_name(self, name):
        self.strings += name.encode() + b"\0"
        return struct.pack("<II", 0, len(self.strings) - len(name) - 1)

    def with_own_names(self, own):
        for number, (name, *_) in self.routines(False).items():
            if name in own:
                at = self.table + 18 * number
                self.bytes[at:at + 8] = self.long_name(PREFIX + name)
        defined = self.routines(True)
        self.refer_to_sections(defined)
        added = b"".join(self.long_name(PREFIX + name) + struct.pack("<IhHBB", value, section, FUNCTION, EXTERNAL, 0)
                         for name, value, section, *_ in defined.values() if name in own)
        struct.pack_into("<I", self.bytes, 12, self.count + len(added) // 18)
        struct.pack_into("<I", self.strings, 0, len(self.strings))
        return self.bytes[:self.table + 18 * self.count] + added + self.strings

    def refer_to_sections(self, routines):
        begins = {symbol[2]: number for number, symbol in self.symbols.items()
                  if symbol[4] == STATIC and symbol[1] == 0 and symbol[5] == 1}
        for section in range(self.sections):
            body, table, _, count = struct.unpack_from("<IIIH", self.bytes, 20 + 40 * section + 20)
            for at in range(table, table + 10 * count, 10):
                offset, number, kind = struct.unpack_from("<IIH", self.bytes, at)
                if number not in routines:
                    continue
                _, value, home, *_ = routines[number]
                size = struct.calcsize(WIDTHS[kind])
                there = struct.unpack_from(WIDTHS[kind], self.bytes, body + offset)[0] + value
                struct.pack_into(WIDTHS[kind], self.bytes, body + offset, there % (1 << 8 * size))
                struct.pack_into("<I", self.bytes, at + 4, begins[home])


def main():
    ar, archive, aliases, *paths = sys.argv[1:]
    objects = [Object(Path(path)) for path in paths]
    wanted = names_of_aliases(aliases)
    for one in objects:
        wanted.update(symbol[0] for symbol in one.routines(False).values())
    own = {symbol[0] for one in objects for symbol in one.routines(True).values()} & wanted
    with tempfile.TemporaryDirectory() as folder:
        members = []
        for number, one in enumerate(objects):
            members.append(Path(folder) / str(number) / one.path.name)
            members[-1].parent.mkdir()
            members[-1].write_bytes(one.with_own_names(own))
        listing = Path(folder) / "members"
        listing.write_text("\n".join(map(str, members)))
        subprocess.run([ar, "qcs", archive, f"@{listing}"], check=True)


if __name__ == "__main__":
    main()
