#!/usr/bin/env python3
"""Measures the rows of the speed table: the library against a named peer.

    bench/table.py [--row TEXT]... [--runs N] [--json]

Each row is run three times (--runs), in each run interleaved with its peer. The
figure is the median of the runs' ratios (ours / peer), with the least and the
greatest beside it; a row misses its limit if even the least is over it. --row
chooses the rows whose names contain the text. --json prints an object a line
instead of the table. The exit status is 1 if a row missed its limit or failed.

Uses what is built; ./bench.sh builds first.
"""
import argparse
import json
import os
import shlex
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
NATIVE = TOP / "build/host/bench"
IMAGES = TOP / "build/windows/programs"
FOREIGN = TOP / "build/bench-programs"
RUN = TOP / "build/host/tools/tarnrun/tarnrun"
WINE = TOP / "scripts/run_wine"

# Programs that hold rows of their own; see bench/rows.h.
BENCHES = ["library", "number", "mathematics", "console", "parallel", "compression", "sort"]


def output(command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def numbers(line):
    return [float(field) for field in line.split("\t")]


# Of what command_time prints.
TIME, MEMORY = slice(0, 2), slice(2, 4)


# Two whole commands by turns, `rounds` times in a run.
def commands(rounds, ours, theirs, of=TIME):
    words = {"run": RUN, "images": IMAGES, "native": NATIVE, "wine": WINE, "foreign": FOREIGN}
    ours, theirs = (shlex.split(command.format(**words)) for command in (ours, theirs))
    return lambda: numbers(output([NATIVE / "command_time", str(rounds), *ours, "--", *theirs]))[of]


# A program of bench/CMakeLists.txt as an image and natively.
def program(rounds, name, arguments="", of=TIME):
    return commands(rounds, f"{{run}} {{images}}/{name}.exe {arguments}",
                    f"{{native}}/{name}_native {arguments}", of)


# One of bench/foreign_programs.sh.
def foreign(rounds, name, arguments=""):
    return commands(rounds, f"{{run}} {{foreign}}/{name}.exe {arguments}",
                    f"{{foreign}}/{name}_native {arguments}")


def lua(work):
    return foreign(3, "lua", f"{TOP}/bench/lua_work.lua {work}")


# By the difference of 1 and 401 reports, against two milliseconds.
def report():
    image = "{run} {images}/report_time.exe "
    many, few = commands(3, image + "401", image + "1")()
    return (many - few) / 400, 2e6


# By the difference to a program that catches it, whose routine tables are those of libstdc++.
def uncaught():
    image = 'sh -c "{run} {images}/cpp_work.exe %s 9 2>/dev/null; exit 0"'
    thrown, caught = commands(30, image % "uncaught", image % "throws")()
    return thrown - caught, 2e6


# The name of the row, the peer, the limit of the ratio (None: none), and what
# measures ours and the peer's once.
ROWS = [
    ("tarnrun, empty program", "static native", 1.3,
     commands(60, "{run} {images}/empty_program.exe", "{native}/empty_native")),
    ("memcpy, memset of 8 to 32 bytes", "native, gcc -O2", 1.2, program(3, "small_blocks", 30000000)),
    ("report, ten frames, as text", "2 ms", 1.0, report),
    ("hosted: start of a greeting", "static native", 3.0, program(60, "greeting")),
    ("hosted: size of the greeting", "150,000 bytes", 1.0,
     lambda: ((IMAGES / "greeting.exe").stat().st_size, 150000)),
    ("hosted: getc and putc, 50 MB", "native, gcc -O2", 1.2,
     program(3, "copy_characters", 50000000)),
    ("hosted: printf, integers, strings", "native, gcc -O2", 1.2,
     program(3, "print_lines", "1000000 integers")),
    ("hosted: printf, doubles", "native, gcc -O2", 1.2, program(3, "print_lines", "500000 doubles")),
    ("malloc and free, 8 to 1,028 bytes", "native, gcc -O2", 1.0,
     program(3, "churn", "20000000 pairs")),
    ("malloc and free, mixed sizes", "native, gcc -O2", 1.0, program(3, "churn", "10000000 mixed")),
    ("memory of a million blocks", "native, in bytes", 1.2,
     program(1, "churn", "1000000 kept", MEMORY)),
    ("hosted: malloc and free, mixed", "native, gcc -O2", 1.0,
     program(3, "hosted_churn", "10000000 mixed")),
    ("hosted: the same by eight threads", "native, gcc -O2", 1.0,
     program(3, "hosted_churn", "10000000 threads")),
    ("C++: exceptions, ten frames deep", "native, g++ -O2", 2.0, program(3, "cpp_work", "throws 100000")),
    ("C++: report of an uncaught one", "2 ms", 1.0, uncaught),
    ("C++: std::sort, a million doubles", "native, g++ -O2", 1.1, program(3, "cpp_work", "sort 1000000")),
    ("C++: std::map, insert and erase", "native, g++ -O2", 1.1, program(3, "cpp_work", "map 3000000")),
    ("C++: std::regex over 10 MB", "native, g++ -O2", 1.1, program(1, "cpp_work", "regex 150000")),
    ("C++: std::cout, a million lines", "native, g++ -O2", 1.3, program(3, "cpp_work", "lines 1000000")),
    ("Fortran: start of an empty program", "static native", 3.0, program(60, "empty_fortran")),
    ("Fortran: matrix product", "native, gfortran -O2", 1.03, program(3, "fortran_work", "product 5")),
    ("Fortran: stencil", "native, gfortran -O2", 1.03, program(3, "fortran_work", "stencil 5")),
    ("Fortran: 200,000 lines, both ways", "native, gfortran -O2", 1.2,
     program(3, "fortran_work", "lines 1")),
    ("Fortran: 100 MB of records", "native, gfortran -O2", 1.2, program(3, "fortran_work", "records 1")),
]
FOREIGN_ROWS = [
    ("hosted: Lua, calls and errors", "native, gcc -O2", 1.05, lua("calls")),
    ("hosted: Lua, tables and a sort", "native, gcc -O2", 1.05, lua("tables")),
    ("hosted: Lua, strings", "native, gcc -O2", 1.05, lua("strings")),
    ("hosted: SQLite, 200,000 rows", "native, gcc -O2", 1.05, foreign(3, "insert_rows")),
]
WINE_ROWS = [
    ("malloc and free, Windows", "GlobalAlloc, GlobalFree", 1.05,
     lambda: numbers(output([WINE, IMAGES / "heap_on_windows.exe"]))),
    ("Wine, empty program", "mingw's, Wine", 1.5,
     commands(10, "{wine} {images}/empty_program.exe", "{wine} {images}/empty_mingw.exe")),
]


class Row:
    def __init__(self, name, peer, limit, size=0):
        self.name, self.peer, self.limit = name, peer, limit
        self.size = size  # bytes that a turn of ours works through, or 0
        self.samples = []  # (ours, peer) of each run

    def ratios(self):
        return [ours / theirs for ours, theirs in self.samples]

    def kept(self):
        return self.limit is None or min(self.ratios()) <= self.limit

    def object(self):
        ratios = self.ratios()
        return {
            "row": self.name, "peer": self.peer,
            "ours": [ours for ours, _ in self.samples],
            "theirs": [theirs for _, theirs in self.samples],
            "ratio": statistics.median(ratios), "low": min(ratios), "high": max(ratios),
            "limit": self.limit, "kept": self.kept(),
        }

    def text(self):
        ours = statistics.median(ours for ours, _ in self.samples)
        theirs = statistics.median(theirs for _, theirs in self.samples)
        ratios = self.ratios()
        spread = f"{min(ratios):.3f}-{max(ratios):.3f}"
        limit = "-" if self.limit is None else f"{self.limit:.3f}"
        line = (f"{self.name:34} {self.peer:24} {self.quantity(ours):>9} "
                f"{self.quantity(theirs):>9} {statistics.median(ratios):7.3f} {spread:>14} {limit:>7}")
        if not self.kept():
            line += "  missed"
        if self.size:
            line += f"  {self.size * 1e3 / ours:.0f} MB/s"
        return line

    def quantity(self, amount):
        if self.peer.endswith("bytes"):
            return f"{amount / 1000:.0f} kB"
        for unit in ("ns", "us", "ms"):
            if amount < 9999.5:
                break
            amount /= 1000
        return f"{amount:.1f} {unit}"


HEAD = f"{'row':34} {'peer':24} {'ours':>9} {'peer':>9} {'ratio':>7} {'spread':>14} {'limit':>7}"


def bench_rows(program, runs, texts):
    rows = {}
    chosen = [option for text in texts for option in ("--row", text)]
    for _ in range(runs):
        for line in output([program, *chosen]).splitlines():
            name, peer, ours, theirs, limit, size = line.split("\t")
            row = rows.setdefault(name, Row(name, peer, float(limit) or None, int(size)))
            row.samples.append((float(ours), float(theirs)))
    return rows.values()


def single_row(name, peer, limit, measure, runs):
    row = Row(name, peer, limit)
    row.samples = [measure() for _ in range(runs)]
    return [row]


def sources(runs, texts):
    """What measures the chosen rows: (a name, a routine that returns rows)."""
    for name in BENCHES:
        bench = NATIVE / (name + "_bench")
        if bench.exists():
            yield bench.name, lambda: bench_rows(bench, runs, texts)
    if not IMAGES.exists():
        return
    rows = list(ROWS)
    if (FOREIGN / "insert_rows_native").exists():
        rows += FOREIGN_ROWS
    if os.environ.get("WINEPREFIX"):
        rows += WINE_ROWS
    for row in rows:
        if not texts or any(text in row[0] for text in texts):
            yield row[0], lambda: single_row(*row, runs)


def main():
    parser = argparse.ArgumentParser(usage="bench/table.py [--row TEXT]... [--runs N] [--json]")
    parser.add_argument("--row", action="append", default=[])
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--json", action="store_true")
    options = parser.parse_args()
    good = True
    with tempfile.TemporaryDirectory(dir=TOP / "build") as scratch:
        os.chdir(scratch)  # where programs leave their files
        if not options.json:
            print(HEAD, flush=True)
        for name, measure in sources(max(1, options.runs), options.row):
            try:
                rows = list(measure())
            except (subprocess.CalledProcessError, OSError, ValueError) as failure:
                print(f"{name}: {failure}", file=sys.stderr)
                good = False
                continue
            for row in rows:
                print(json.dumps(row.object()) if options.json else row.text(), flush=True)
                good = good and row.kept()
        os.chdir(TOP)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
