#!/usr/bin/env python3
"""Makes an archive of plain code behave as an import library does.

  add_import_pointers.py NM AR OBJCOPY ARCHIVE ALIASES

A program may define a routine of the C run-time itself and use others of the same source. So
each routine that shares its member, or that other members call, is renamed to __crt_own_NAME
throughout ARCHIVE, and a member of its own has NAME, a jump to it: the run-time never calls a
program's routine in place of its own. For each external name follows a member with the pointer
__imp_NAME, and for each line "NAME... = OTHER" of ALIASES members with NAME, a jump to OTHER,
and its pointer. One member a name, so that an image holds only those it uses."""

import struct
import subprocess
import sys
import tempfile
from pathlib import Path

# What compilers themselves call, each alone in its member: a program's own has the same meaning.
# What C++ calls, __cxa_..., stays too: the archive's is to be found before the weak one of the
# start-up object.
KEPT = {"memchr", "memcmp", "memcpy", "memmove", "memset", "strlen"}

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


def pointer(name, target):
    return object_file([(".data", DATA, bytes(8), (0, 1, ADDR64))],
                       [("__imp_" + name, 1, 0), (target, 0, 0)])


def jump(name, target):
    return object_file([(".text", TEXT, b"\xE9" + bytes(4), (1, 1, REL32))],
                       [(name, 1, FUNCTION), (target, 0, FUNCTION)])


def alias(name, other):
    return object_file(
        [(".text", TEXT, b"\xE9" + bytes(4), (1, 2, REL32)), (".data", DATA, bytes(8), (0, 2, ADDR64))],
        [(name, 1, FUNCTION), ("__imp_" + name, 2, 0), (other, 0, FUNCTION)])


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def symbols(nm, archive):
    """Of each member the kinds of its external names, "U" for those that it uses."""
    members, kinds = [], None
    for line in run(nm, "--extern-only", "--format=posix", archive).splitlines():
        if line.endswith("]:"):
            kinds = {}
            members.append(kinds)
        else:
            name, kind = line.split()[:2]
            if not name.startswith(("_Z", "__imp_", ".")):
                kinds[name] = kind
    return members


def main():
    nm, ar, objcopy, archive, aliases = sys.argv[1:]
    code = symbols(nm, archive)
    used = {name for kinds in code for name, kind in kinds.items() if kind == "U"}
    defined = [{name: kind for name, kind in kinds.items() if kind in "TDBR"} for kinds in code]
    names = {name: name for kinds in defined for name in kinds}
    for kinds in defined:
        for name, kind in kinds.items():
            if (kind == "T" and (len(kinds) > 1 or name in used) and name not in KEPT
                    and not name.startswith(("crt_", "tarn_", "__cxa_"))):
                names[name] = "__crt_own_" + name
    with tempfile.TemporaryDirectory() as folder:
        members = []

        def add(member, content):
            members.append(Path(folder) / member)
            members[-1].write_bytes(content)

        renamed = Path(folder) / "renamed"
        renamed.write_text("".join(f"{name} {other}\n" for name, other in names.items() if name != other))
        run(objcopy, f"--redefine-syms={renamed}", archive)
        for name, target in sorted(names.items()):
            add(f"imp_{name}.o", pointer(name, target))
            if target != name:
                add(f"name_{name}.o", jump(name, target))
        for line in Path(aliases).read_text().splitlines():
            line = line.split("#")[0].strip()
            if line:
                those, other = line.split("=")
                for name in those.split():
                    add(f"alias_{name}.o", alias(name, names.get(other.strip(), other.strip())))
        listing = Path(folder) / "members"
        listing.write_text("\n".join(map(str, members)))
        run(ar, "qs", archive, f"@{listing}")


if __name__ == "__main__":
    main()
