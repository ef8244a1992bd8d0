#!/usr/bin/env python3
"""Checks what each source may include: the modules are layered.

The order is TARN_MODULES in src/CMakeLists.txt, lowest first. A module is a folder of src/
or, if the list names it, a folder of such a folder. A module includes itself, lower modules,
platform/ and paneview/paneview.h; paneview/ includes itself and platform/. Of the system's
headers, outside platform/'s back ends, only those that any compiler brings without a C
library. Prints each include that breaks this; status 1 if there is one."""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FREESTANDING = {"cstddef", "cstdint", "type_traits", "cpuid.h", "emmintrin.h", "xmmintrin.h"}
BACK_ENDS = ("src/platform/windows", "src/platform/posix")
INCLUDE = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<([^>]+)>)', re.MULTILINE)


def modules():
    listed = re.search(r"set\(TARN_MODULES ([^)]*)\)", (ROOT / "src/CMakeLists.txt").read_text())
    return listed.group(1).split()


def module_of(order, path):
    """The innermost listed folder that holds `path`, else its top folder."""
    holding = [module for module in order if path.startswith(module + "/")]
    return max(holding, key=len, default=path.split("/")[0])


def allowed(order, module, header):
    target = module_of(order, header)
    if target in ("platform", module):
        return True
    if module in ("platform", "paneview"):
        return False
    if target == "paneview":
        return header == "paneview/paneview.h"
    return target in order and order.index(target) < order.index(module)


def main():
    order = modules()
    found = {path.name for path in (ROOT / "src").iterdir() if path.is_dir()} - {"platform"}
    broken = [f"src/{name}: not in TARN_MODULES" for name in sorted(found - set(order))]
    broken += [f"TARN_MODULES: no folder src/{name}" for name in order
               if not (ROOT / "src" / name).is_dir()]
    sources = [path for folder in ("src", "paneview") for path in (ROOT / folder).rglob("*")
               if path.suffix in (".cpp", ".h", ".S", ".inc")]
    for path in sorted(sources):
        name = path.relative_to(ROOT).as_posix()
        module = module_of(order, name.removeprefix("src/"))
        back_end = name.startswith(BACK_ENDS)
        for own, system in INCLUDE.findall(path.read_text(encoding="latin-1")):
            if own and "/" in own and not allowed(order, module, own):
                broken.append(f'{name}: "{own}" is not below {module}')
            if system and not back_end and system not in FREESTANDING:
                broken.append(f"{name}: <{system}> belongs to a back end of platform/")
    print("\n".join(broken) if broken else f"{len(sources)} sources, {len(order)} modules")
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
