#!/usr/bin/env python3
"""Runs the commands that README.md and the pages of docs/ show, as a reader would.

    run_pages.py HOST_BUILD WINDOWS_BUILD FOLDER WINE [PAGE...]

Each page has a scratch folder and one shell, with the installed tools on PATH,
PREFIX set to where they are installed, and the repository's examples/. In a
block, indented or fenced,

    $ COMMAND       is run by the shell; a \\ at its end continues it
    C:\\> COMMAND    is run by Wine
    (gdb) COMMAND    is run by the gdb that the command above starts

and the lines after it are what it must print: a line "..." stands for any lines,
"..." in a line for any text, and addresses may differ. Where a page shows nothing
the command need only succeed. A comment before a block changes what is done:

    <!-- file NAME -->         the block is written into the file NAME
    <!-- not run: REASON -->   the block is for the reader alone
    <!-- run: COMMAND -->      runs what the reader is not shown

A block that begins with a command but has no prompt is an error, so that none is
left out by mistake.
"""
import concurrent.futures
import os
import re
import shlex
import shutil
import subprocess
import sys
from pathlib import Path

TOP = Path(__file__).resolve().parents[3]
TOOLS = re.compile(r"(tarn\w+|finish_image|cmake|cpack|ctest|make|wine|gdb|export|sudo|apt|valgrind|docker"
                   r"|pkg-config|x86_64-w64-mingw32-\S+|\.?/?\S+\.(sh|exe)|\./\S+)(\s|$)")
PROMPTS = ("$ ", "C:\\> ")
IN_GDB = "(gdb) "


def blocks(text):
    """(line number, comment before it, lines) of each block; a `run` comment is one without lines."""
    comment, lines = "", text.splitlines()
    at = 0
    while at < len(lines):
        line = lines[at]
        first = at + 1
        if match := re.fullmatch(r"<!-- (.*) -->", line):
            comment = match[1]
            if comment.startswith("run: "):
                yield first, comment, []
                comment = ""
        elif line.startswith("```"):
            end = lines.index("```", at + 1)
            yield first + 1, comment, lines[first:end]
            at, comment = end, ""
        elif line.startswith("    ") and not lines[at - 1].strip():
            end = at
            while end < len(lines) and (lines[end].startswith("    ") or not lines[end]):
                end += 1
            yield first, comment, [indented[4:] for indented in lines[at:end]]
            at, comment = end - 1, ""
        elif line:
            comment = ""
        at += 1


def commands(path, folder, wine):
    """(place, command, shown lines) in the page's order; writes its files."""
    for number, comment, lines in blocks(path.read_text()):
        place = f"{path.relative_to(TOP)}:{number}"
        if comment.startswith("not run: "):
            continue
        if comment.startswith("run: "):
            yield place, comment[5:], []
        elif comment.startswith("file "):
            (folder / comment[5:]).write_text("\n".join(lines).rstrip() + "\n")
        elif not any(line.startswith(PROMPTS) for line in lines):
            if TOOLS.match(lines[0]):
                raise SystemExit(f"{place}: a command without a prompt or <!-- not run: why -->: {lines[0]}")
        else:
            command, shown = "", []
            for line in lines:
                if command.endswith("\\"):
                    command = command[:-1] + line
                elif line.startswith(IN_GDB):
                    order = shlex.quote(line.removeprefix(IN_GDB))
                    command = command.replace("--args", f"-batch -ex {order} --args", 1)
                elif line.startswith(PROMPTS):
                    if command:
                        yield place, command, shown
                    command, shown = line.split(" ", 1)[1], []
                    if line.startswith("C:"):
                        command = f"{wine} {command}" if wine else ""
                else:
                    shown.append(line)
            if command:
                yield place, command, shown


def plain(text):
    return re.sub(r"at address [0-9a-f]+", "at address X", text.replace("\r", "")).strip()


def matches(shown, said):
    lines = "\n".join(plain("\n".join(shown)).splitlines())
    pattern = re.escape(lines).replace(r"\.\.\.", ".*")
    return re.fullmatch(pattern, plain(said), re.S) is not None


def run(path, folder, prefix, wine):
    """What is wrong on the page."""
    folder.mkdir(parents=True)
    (folder / "build").mkdir()
    (folder / "build/tarnlib").symlink_to(prefix)
    shutil.copytree(TOP / "examples", folder / "examples")
    results = folder / ".results"
    results.mkdir()
    todo = list(commands(path, folder, wine))
    script = "".join(f"{{ {command}\n}} >{results}/{index} 2>&1 </dev/null; echo $? >{results}/{index}.status\n"
                     for index, (_, command, _) in enumerate(todo))
    environment = os.environ | {"PATH": f"{prefix}/bin:{os.environ['PATH']}", "PREFIX": str(prefix)}
    subprocess.run(["bash"], input=script, text=True, cwd=folder, env=environment, timeout=200,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    faults = []
    for index, (place, command, shown) in enumerate(todo):
        said = (results / str(index)).read_text(errors="replace") if (results / str(index)).exists() else "(not run)"
        status = results / f"{index}.status"
        if shown and any(shown):
            good = matches(shown, said)
        else:
            good = status.exists() and status.read_text().strip() == "0"
        if not good:
            faults.append(f"{place}: {command}\n--- prints:\n{said}\n--- the page shows:\n" + "\n".join(shown))
    return len(todo), faults


def main():
    host, windows, folder, wine, *wanted = sys.argv[1:]
    folder = Path(folder)
    shutil.rmtree(folder, ignore_errors=True)
    prefix = folder / "prefix"
    for build in (host, windows):
        subprocess.run(["cmake", "--install", build, "--prefix", prefix], check=True, stdout=subprocess.DEVNULL)
    pages = [TOP / "README.md", *sorted((TOP / "docs").glob("*.md"))]
    pages = [page for page in pages if not wanted or page.stem in wanted]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
        results = list(workers.map(lambda page: run(page, folder / page.stem, prefix, wine), pages))
    for _, faults in results:
        for fault in faults:
            print(fault, file=sys.stderr)
    count = sum(number for number, _ in results)
    print(f"{count} commands of {len(pages)} pages")
    return 1 if any(faults for _, faults in results) or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
