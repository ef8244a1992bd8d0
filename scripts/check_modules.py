#!/usr/bin/env python3
"""Checks what each source may include: the modules are layered.

The order is TARN_MODULES in src/CMakeLists.txt, lowest first. A module is a folder of src/
or, if the list names it, a folder of such a folder. A module includes itself, lower modules,
include/, platform/ and paneview/paneview.h; paneview/ includes itself and platform/, and
platform/ of include/ what spells declarations, tarn/api.h. The folders of
platform/posix have an order of their own, TARN_POSIX_FOLDERS: a source includes the headers
of its own folder, and of a lower folder the overview header alone, which has the folder's
name. Of the system's headers, outside platform/'s back ends, only those that any compiler
brings without a C library; src/startup/program_support is program code and includes
include/ as a program does. crt/ has rooms of its own, TARN_CRT_ROOMS in crt/CMakeLists.txt: a
source includes headers of its own room, of lower ones and crt.h. Prints each include that breaks
this; status 1 if there is one."""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FREESTANDING = {"cstddef", "cstdint", "type_traits", "cpuid.h", "emmintrin.h", "xmmintrin.h"}
BACK_ENDS = ("src/platform/windows", "src/platform/posix")
PROGRAM_PARTS = "src/startup/program_support/"
POSIX = "src/platform/posix/"
CRT = ROOT / "crt"
CRT_NO_ROOMS = {"include", "musl"}  # headers for programs, and for musl's sources
INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<([^>]+)>)', re.MULTILINE)


def listed(name, folder="src"):
    lists = (ROOT / folder / "CMakeLists.txt").read_text()
    return re.search(rf"set\({name}\s+([^)]*)\)", lists).group(1).split()


def folders(path):
    return {folder.name for folder in (ROOT / path).iterdir() if folder.is_dir()}


def allowed_in_posix(order, name, header):
    if not name.startswith(POSIX):
        return False
    folder = name.removeprefix(POSIX).split("/")[0]
    target, _, file = f"src/{header}".removeprefix(POSIX).partition("/")
    return target == folder or (target in order and file == f"{target}.h" and
                                order.index(target) < order.index(folder))


def module_of(order, path):
    """The innermost listed folder that holds `path`, else its top folder."""
    holding = [module for module in order if path.startswith(module + "/")]
    return max(holding, key=len, default=path.split("/")[0])


def allowed(order, module, header):
    target = module_of(order, header)
    if target in ("platform", module) or header == "include/tarn/api.h":
        return True
    if module in ("platform", "paneview"):
        return False
    if target == "include":
        return True
    if target == "paneview":
        return header == "paneview/paneview.h"
    return target in order and order.index(target) < order.index(module)


def broken_in_crt():
    order = ["crt.h"] + listed("TARN_CRT_ROOMS", "crt")

    def room_of(path):
        return path.relative_to(CRT).parts[0]

    sources = [path for path in sorted(CRT.rglob("*"))
               if path.suffix in (".cpp", ".h", ".S") and room_of(path) not in CRT_NO_ROOMS]
    unlisted = {room_of(path) for path in sources} ^ set(order)
    if unlisted:
        return [f"crt/{room}: in TARN_CRT_ROOMS or in crt/, not in both" for room in sorted(unlisted)]
    broken = []
    for path in sources:
        reachable = order[:order.index(room_of(path)) + 1]
        for own, _ in INCLUDE.findall(path.read_text()):
            header = (path.parent / own).resolve()
            if own and not (header.is_relative_to(CRT) and room_of(header) in reachable):
                broken.append(f'{path.relative_to(ROOT)}: "{own}" is not below crt/{room_of(path)}')
    return broken


def main():
    order = listed("TARN_MODULES")
    posix_order = listed("TARN_POSIX_FOLDERS")
    found = folders("src") - {"platform"}
    broken = [f"src/{name}: not in TARN_MODULES" for name in sorted(found - set(order))]
    broken += [f"{POSIX}{name}: not in TARN_POSIX_FOLDERS"
               for name in sorted(folders(POSIX) ^ set(posix_order))]
    broken += [f"TARN_MODULES: no folder src/{name}" for name in order
               if not (ROOT / "src" / name).is_dir()]
    sources = [path for folder in ("src", "paneview") for path in (ROOT / folder).rglob("*")
               if path.suffix in (".cpp", ".h", ".S", ".inc")]
    for path in sorted(sources):
        name = path.relative_to(ROOT).as_posix()
        module = module_of(order, name.removeprefix("src/"))
        back_end = name.startswith(BACK_ENDS)
        for own, system in INCLUDE.findall(path.read_text(encoding="latin-1")):
            if f"src/{own}".startswith(POSIX):
                below = allowed_in_posix(posix_order, name, own)
            else:
                below = allowed(order, module, own)
            if own and "/" in own and not below:
                broken.append(f'{name}: "{own}" is not below {module}')
            public = name.startswith(PROGRAM_PARTS) and system.startswith("tarn/")
            if system and not (back_end or public or system in FREESTANDING):
                broken.append(f"{name}: <{system}> belongs to a back end of platform/")
    broken += broken_in_crt()
    print("\n".join(broken) if broken else f"{len(sources)} sources, {len(order)} modules")
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
