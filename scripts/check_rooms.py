#!/usr/bin/env python3
"""The rooms stand one on the other: what each source may include.

The order is TARN_ROOMS in src/CMakeLists.txt, lowest first. A room includes itself, lower
rooms, platform/ and paneview/paneview.h; paneview/ includes itself and platform/. Of the
system's headers, outside platform/'s back ends, only those that any compiler brings without
a C library. Prints each include that breaks this; status 1 if there is one."""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FREESTANDING = {"cstddef", "cstdint", "type_traits", "cpuid.h", "emmintrin.h", "xmmintrin.h"}
BACK_ENDS = ("src/platform/windows", "src/platform/posix")
INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<([^>]+)>)', re.MULTILINE)


def rooms():
    listed = re.search(r"set\(TARN_ROOMS ([^)]*)\)", (ROOT / "src/CMakeLists.txt").read_text())
    return listed.group(1).split()


def allowed(order, room, header):
    target = header.split("/")[0]
    if target in ("platform", room):
        return True
    if room == "platform" or room == "paneview":
        return False
    if target == "paneview":
        return header == "paneview/paneview.h"
    return target in order and order.index(target) < order.index(room)


def main():
    order = rooms()
    found = sorted({path.name for path in (ROOT / "src").iterdir() if path.is_dir()} - {"platform"})
    broken = [f"src/{room}: not in TARN_ROOMS" for room in sorted(set(found) ^ set(order))]
    sources = [path for folder in ("src", "paneview") for path in (ROOT / folder).rglob("*")
               if path.suffix in (".cpp", ".h", ".S", ".inc")]
    for path in sorted(sources):
        name = path.relative_to(ROOT).as_posix()
        room = name.split("/")[1] if name.startswith("src/") else "paneview"
        back_end = name.startswith(BACK_ENDS)
        for own, system in INCLUDE.findall(path.read_text(encoding="latin-1")):
            if own and "/" in own and not allowed(order, room, own):
                broken.append(f'{name}: "{own}" is not below')
            if system and not back_end and system not in FREESTANDING:
                broken.append(f"{name}: <{system}> belongs to a back end of platform/")
    print("\n".join(broken) if broken else f"{len(sources)} sources, {len(order)} rooms")
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
