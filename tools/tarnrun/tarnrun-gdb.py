"""Gives gdb the symbols of the images that tarnrun runs, as each is mapped, so that

  gdb --args tarnrun program.exe
  (gdb) break main
  (gdb) run

stops in the program. gdb loads this file by itself where it is trusted; elsewhere by
`source`, or `gdb -x`."""

import glob
import os
import sys

import gdb


class ImageLoaded(gdb.Breakpoint):
    """On tarn_image_loaded(path, base, difference), which is called before any of the image runs."""

    def __init__(self):
        super().__init__("tarn_image_loaded", internal=True)
        self.silent = True

    def stop(self):
        path = gdb.parse_and_eval("(const char *)$rdi").string()
        base, difference = int(gdb.parse_and_eval("$rsi")), int(gdb.parse_and_eval("$rdx"))
        if os.path.isfile(path):
            gdb.execute(f'add-symbol-file "{path}" -o {difference:#x}', to_string=True)
            loaded[base] = path
        return False


class ImageUnloaded(gdb.Breakpoint):
    """On tarn_image_unloaded(base)."""

    def __init__(self):
        super().__init__("tarn_image_unloaded", internal=True)
        self.silent = True

    def stop(self):
        forget(int(gdb.parse_and_eval("$rdi")))
        return False


loaded = {}


def forget(base):
    path = loaded.pop(base, None)
    if path:
        gdb.execute(f"remove-symbol-file -a {base + 0x1000:#x}", to_string=True)


def on_exit(event):
    for base in list(loaded):
        forget(base)


# C++ containers and strings as their users see them, by what the compiler brings for gdb.
sys.path += glob.glob("/usr/share/gcc*/python")
try:
    from libstdcxx.v6 import register_libstdcxx_printers
    register_libstdcxx_printers(None)
except (ImportError, RuntimeError):
    pass

gdb.execute("set breakpoint pending on")
gdb.events.exited.connect(on_exit)
ImageLoaded()
ImageUnloaded()
