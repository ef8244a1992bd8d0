#!/usr/bin/env python3
"""The .def file of what hosted programs import from the library.

  service_imports.py OWN_DEF EXPORTS_DEF INCLUDE COMPILER FLAG...  > hosted.def

OWN_DEF, and the exports that INCLUDE/tarn/*.h declare in a hosted program; those with @ or $ a
second time with _at or _dollar, as Fortran names them (INCLUDE/tarn/tarnlib.f90). The headers of
C are not among them: their names mean ISO C's routines there."""

import re
import subprocess
import sys
from pathlib import Path

own, exports, include, *compiler = sys.argv[1:]
source = "".join(f"#include <tarn/{header.name}>\n" for header in sorted(Path(include, "tarn").glob("*.h")))
preprocessed = subprocess.run(compiler + ["-idirafter", include, "-E", "-x", "c", "-"], input=source,
                              capture_output=True, check=True, text=True).stdout
declared, there = set(), False
for line in preprocessed.splitlines():
    if line.startswith("# "):
        there = "/tarn/" in line
    elif there:
        declared.update(re.findall(r"(\w+) ?\(", line))
        # A name that C cannot spell, whose parts may be several literals.
        declared.update(re.sub('"\\s*"', "", name) for name in re.findall(r'__asm__\("(.+?)"\)', line))

text = Path(own).read_text()
named = set(re.findall(r"^\S+", text, re.M))
for name in re.findall(r'^"(.+)" =', Path(exports).read_text(encoding="latin-1"), re.M):
    if name in declared and name not in named:
        text += f'"{name}"\n'
        if name[-1] in "@$":
            text += f'{name[:-1]}_{dict(zip("@$", ("at", "dollar")))[name[-1]]} == "{name}"\n'
module = Path(include, "tarn/tarnlib.f90").read_text()
missing = set(re.findall(r"bind\(C, name='(\S+)'\)", module)) - set(re.findall(r'^"?(\w+)', text, re.M))
if missing:
    sys.exit(f"{include}/tarn/tarnlib.f90: hosted programs cannot import {', '.join(sorted(missing))}")
sys.stdout.write(text)
