#!/usr/bin/env python3
"""Compares the line tables of finished images with what addr2line reads from the
linked ones: all routines, files and lines of an address, inlined code's too; and, but for
hosted programs, the innermost line that the address has in its routine's own file."""
import functools
import re
import struct
import subprocess
import sys
from pathlib import Path
from types import SimpleNamespace

ARGUMENTS = """folder examples programs include flags start support import_ compiler finish
    addr2line objdump""".split()
KINDS = ("-O0", "-O1", "-O2", "-O3", "-O2 -gdwarf-4")
# Programs of C and C++ in whose reports inlined code is a frame.
HOSTED = "hosted_reports", "cpp_gallery_2"
# So many instructions have a line in all of them; fewer, and the test looks away.
FEWEST_COMPARED = 60_000


def run(*words):
    return subprocess.run([str(word) for word in words], check=True, capture_output=True, text=True).stdout


class Table:
    """The routine table and line tables of a finished image, by their format."""

    def __init__(self, path):
        data = path.read_bytes()
        header = struct.unpack_from("<I", data, 0x3C)[0]
        self.base = struct.unpack_from("<Q", data, header + 24 + 24)[0]
        sections = header + 24 + struct.unpack_from("<H", data, header + 20)[0]
        memory = bytearray(struct.unpack_from("<I", data, header + 24 + 56)[0])
        for i in range(struct.unpack_from("<H", data, header + 6)[0]):
            size, start, raw_size, raw = struct.unpack_from("<4I", data, sections + 40 * i + 8)
            memory[start : start + min(size, raw_size)] = data[raw : raw + min(size, raw_size)]
        at = struct.unpack_from("<i", data, 0x1C)[0] + 8
        self.routines = []
        while memory[at]:
            end = memory.index(0, at)
            name = memory[at:end].decode()
            _, start, last, debug, _, _ = struct.unpack_from("<4Q2I", memory, end + 1)
            at = end + 41
            lines, code_lines, inlined, files = [], [], [], []
            if debug != last + 1 and memory[debug + 4 : debug + 8] == b"RHUB":
                lines_at = debug + 8 + struct.unpack_from("<i", memory, debug + 8)[0] - 4
                lines, next_at = self.records(memory, lines_at, 2)
                if memory[debug : debug + 4] == b"FILE":
                    code_lines, next_at = self.records(memory, next_at, 2)
                inlined, next_at = self.records(memory, next_at, 5)
                files, _ = self.records(memory, next_at, 2)
            code = SimpleNamespace(
                lines=code_lines or lines,
                inlined=[(start, end, self.text(memory, name), line % (1 << 30), self.text(memory, file))
                         for start, end, name, line, file in inlined],
                files=[(self.text(memory, file), at) for file, at in files])
            self.routines.append((start, last, name, lines, code))

    @staticmethod
    def text(memory, at):
        return memory[at : memory.index(0, at)].decode() if at else ""

    @staticmethod
    def records(memory, at, words):
        """The records of a counted table, and where it ends."""
        end = at + 4 + 4 * words * struct.unpack_from("<I", memory, at)[0]
        return list(struct.iter_unpack(f"<{words}I", memory[at + 4 : end])), end


def frames(tool, image, addresses):
    """For each address its frames, innermost first: (file, line, routine), line 0 for none."""
    said = subprocess.run([tool, "-a", "-f", "-i", "-C", "-e", image], check=True, capture_output=True, text=True,
                          input="".join(f"{address:#x}\n" for address in addresses)).stdout
    result, lines = {}, said.splitlines()
    for line in lines:
        if re.fullmatch(r"0x[0-9a-f]{16}", line):
            current = result.setdefault(int(line, 16), [])
        elif match := re.fullmatch(r"(.*):(\d+|\?)(?: \(discriminator \d+\))?", line):
            current.append((match[1], 0 if match[2] == "?" else int(match[2]), routine))
        else:
            routine = line
    return result


def plain(name):
    """A routine's own name, without scopes and parameters, which addr2line does not always have."""
    while name != (shorter := re.sub(r"<[^<>]*>|\([^()]*\)", "", name)):
        name = shorter
    return name.removesuffix(" const").split("::")[-1].split(" ")[-1]


@functools.cache
def length(file):
    path = Path(file)
    return len(path.read_text().splitlines()) if path.is_file() else 10**9


def last_before(pairs, offset, otherwise):
    return next((value for value, start in reversed(pairs) if start <= offset), otherwise)


def chain(code, name, offset):
    """The frames at an offset in a routine: (routine, line, file), innermost first."""
    line, file = last_before(code.lines, offset, 0), last_before(code.files, offset, "")
    result = []
    for start, end, routine, call, call_file in code.inlined:
        if start <= offset < end:
            result.append((plain(routine), line, Path(file).name))
            line, file = call, call_file
    return [*result, (plain(name), line, Path(file).name)]


def compare(options, image, unfinished, hosted=False):
    table = Table(image)
    text = run(options.objdump, "-d", "--section=.text", "--no-show-raw-insn", unfinished)
    addresses = [int(match[1], 16) for match in re.finditer(r"^ *([0-9a-f]+):\t(?!.*nop|xchg +%ax,%ax)", text, re.M)]
    starts = [table.base + routine[0] for routine in table.routines]
    known = frames(options.addr2line, unfinished, sorted({*addresses, *starts}))
    compared = wrong = 0
    for start, last, name, lines, code in table.routines:
        own_file = known[table.base + start][-1][0]
        for address in (each for each in addresses if start <= each - table.base <= last):
            offset = address - table.base - start
            wanted = [(plain(routine), line, Path(file).name) for file, line, routine in known[address]]
            # Padding, and code without debug data, has what stands before it.
            if wanted[0][1] == 0 or wanted[-1][0] != plain(name):
                continue
            # addr2line takes the unit's file for that of a header's routine which was not inlined.
            if any(line > length(file) for file, line, _ in known[address]):
                continue
            found = chain(code, name, offset)
            if not hosted:
                own = next((line for file, line, _ in known[address] if file == own_file and line), 0)
                wanted.append(own)
                found.append(last_before(lines, offset, 0) if own else 0)
            elif not code.files:  # the run-time's own
                wanted, found = ([frame[:2] for frame in frames] for frames in (wanted, found))
            compared += 1
            if found != wanted:
                wrong += 1
                if wrong <= 5:
                    print(f"{image.name}: {name}+{address - table.base - start:#x}: {found}, not {wanted}: {known[address]}")
    return compared, wrong


def build(options, name, kind, dll, sources, libraries):
    start = [options.compiler, *options.flags.read_text().split(), *kind.split()]
    folder = options.folder / kind.replace(" ", "")
    folder.mkdir(parents=True, exist_ok=True)
    image, unfinished = folder / f"{name}.image", folder / f"{name}.unfinished"
    # One by one: the compiler puts what it makes of several into scratch files.
    objects = []
    for source in sources:
        objects.append(folder / f"{source}.o")
        run(*start, f"-I{options.include}", "-c", options.examples / source, "-o", objects[-1])
    run(options.compiler, "-nostdlib", *(["-shared", "-Wl,--exclude-all-symbols"] if dll else []),
        "-Wl,-e,__BrackenStartup", "-Wl,--dynamicbase", "-Wl,--disable-auto-import",
        options.start, *objects, "-Wl,--start-group", options.import_, *libraries, options.support,
        "-lgcc", "-lkernel32", "-Wl,--end-group", "-o", unfinished)
    run(options.finish, unfinished, "-o", image)
    return image, unfinished


def main():
    options = SimpleNamespace(**dict(zip(ARGUMENTS, map(Path, sys.argv[1:]), strict=True)))
    programs = re.findall(r"tarn_add_program\((\w+)( DLL)? SOURCES ([^)]*?)(?: LINK (\w+))?\)",
                          (options.examples / "CMakeLists.txt").read_text())
    compared = wrong = 0
    for name, dll, sources, linked in programs:
        libraries = [options.programs / f"lib{linked}.dll.a"] if linked else []
        for kind in KINDS:
            image, unfinished = build(options, name, kind, dll, sources.split(), libraries)
            counts = compare(options, image, unfinished)
            compared += counts[0]
            wrong += counts[1]
    for name in HOSTED:
        counts = compare(options, options.programs / f"{name}.exe", options.programs / f"{name}.unfinished.exe", True)
        compared += counts[0]
        wrong += counts[1]
    print(f"{compared} instructions of {len(programs)} examples, {wrong} with another line")
    return 1 if wrong or compared < FEWEST_COMPARED else 0


if __name__ == "__main__":
    sys.exit(main())
