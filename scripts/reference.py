#!/usr/bin/env python3
"""The pages in docs/ that are made from sources: docs/reference from the comments of the
headers in include/, docs/errors.md from the tables of src/failure, and the table in
docs/architecture.md that leads from each header to its code and tests, the figures of README.md
from docs/performance.md. And the interfaces of include/tarn/tarnlib.f90, from the headers.

  scripts/reference.py           writes them anew
  scripts/reference.py --check   writes nothing; status 1 if a page is not what the sources give

Both fail on a routine without a comment, a header or section that is on no page, and a
routine that the library does not export. Both fail if the catalogue of errors has a gap, or
if it says that the library raises others than tarn/errors.h and the sources name. The check
also compares with the routines that the C compiler finds, and follows the links of all Markdown files. That the library and its headers agree the compiler sees, as the library is
compiled against them.

The headers' rules, on which this parser rests. A comment that begins in column 0 directly
above declarations is theirs, up to the next empty line or such comment. "/* ---- Title ----"
begins a section; what follows in that comment is the section's text, and holds for its
routines without a comment. The first comment of a header is about the whole of it. Lines
indented in a comment stand as they are. A macro that the header undefines at its end is
written out, and those of tarn/api.h are as a program in C sees them.

Doxygen knows neither one comment for a run of declarations nor asm labels: its input filter
would be this parser."""

import os
import re
import shutil
import subprocess
import sys
import textwrap
import tempfile
from dataclasses import dataclass, field
from pathlib import Path

import fortran_module

ROOT = Path(__file__).resolve().parent.parent
INCLUDE = ROOT / "include"
DOCS = ROOT / "docs"
CATALOGUE = "src/failure/catalogue.cpp"
FAULTS = "src/failure/exception_table.cpp"
FAULT_CODES = "src/platform/exception_codes.h"

# Page, title, what it is for, and its headers: whole, or the sections named after colons.
PAGES = [
    ("strings", "Strings and blocks", "bytes ended by a NUL: length, copies, comparison, search",
     ["string.h"]),
    ("character", "Fortran CHARACTER data", "strings padded with spaces, in Fortran's calling form",
     ["tarn/character.h"]),
    ("streams", "Streams, formatted output and input", "`FILE` streams, `printf`, `scanf`",
     ["stdio.h"]),
    ("numbers", "Numbers and text", "integers and floating point to and from text",
     ["stdlib.h:Numbers to text:Text to numbers", "tarn/number_text.h"]),
    ("mathematics", "Mathematics", "C's functions; Fortran's intrinsics, kinds, special functions, "
     "dot products", ["math.h", "tarn/fortran_math.h"]),
    ("storage", "Storage", "the heap, `ALLOCATE`, the secondary stack",
     ["stdlib.h:The heap", "tarn/storage.h"]),
    ("failures", "Failures, traps and jumps", "numbered errors, routines before the report, "
     "`errno`, `setjmp`, labels, regions that grow on fault",
     ["tarn/errors.h", "tarn/traps.h", "errno.h", "setjmp.h"]),
    ("console", "The console", "cells, colours, boxes, pause, lines, keys", ["tarn/console.h"]),
    ("progress", "Progress of a long job", "a percentage in the title, a window with a bar",
     ["tarn/progress.h"]),
    ("files", "Files and folders", "paths, dates, whole files, logs, checksums",
     ["io.h", "tarn/files.h"]),
    ("processes", "Processes and parallel tasks", "end, environment, other programs, barriers and "
     "broadcasts", ["stdlib.h:The process", "tarn/process.h", "tarn/parallel.h"]),
    ("compression-and-sort", "Compression, sort and search", "blocks and files made small; `qsort`, "
     "`bsearch`", ["tarn/compression.h", "stdlib.h:Sort and search"]),
    ("image", "Images, start-up and configuration", "what a source asks of its start-up; common "
     "blocks, resources, registry, version", ["tarn/image.h", "tarn/runtime.h",
                                              "tarn/introspection.h"]),
    ("measuring", "Measuring", "how often each line ran, how long a routine takes",
     ["tarn/profile.h", "tarn/timing.h"]),
    ("types", "Types and limits", "widths, limits, variable arguments",
     ["stddef.h", "stdint.h", "limits.h", "stdarg.h"]),
]

# Every image has these of its own; the library does not export them.
OF_THE_IMAGE = {"memcpy", "memset"}

# By link name, the interface that the Fortran module has.
FORTRAN = {}
MODULE = "../include/tarn/tarnlib.f90"

# How the declarations are spelled; declares nothing.
API = "tarn/api.h"

# Routines whose names are English words too: a comment means one only before "()".
WORDS = {"gets", "puts", "system", "free", "exit", "log", "exists", "compare", "rewind", "abs", "exp"}


class Fault(Exception):
    pass


# ---- Reading a header -------------------------------------------------------


@dataclass
class Declaration:
    kind: str  # "routine", "macro" or "other"
    name: str
    code: str  # as shown
    link: str = ""
    inline: bool = False
    remark: bool = False  # has a comment on its line


@dataclass
class Entry:
    text: list
    declarations: list


@dataclass
class Section:
    title: str
    text: list
    entries: list = field(default_factory=list)


def without_comments(code):
    return re.sub(r"/\*.*?\*/", " ", code, flags=re.S)


def c_lines(text):
    """The lines that GCC sees in a C program, without includes."""
    kept, conditions = [], []
    for line in text.split("\n"):
        words = line.split()
        directive = words[0] if words else ""
        if directive in ("#ifdef", "#ifndef"):
            other_compiler = words[1] in ("__cplusplus", "__clang__", "TARN_LIBRARY")
            conditions.append(other_compiler == (directive == "#ifndef"))
            if not other_compiler:  # the header's guard
                conditions[-1] = True
        elif directive == "#else":
            conditions[-1] = not conditions[-1]
        elif directive == "#endif":
            conditions.pop()
        elif all(conditions) and directive != "#include":
            kept.append(line)
    return kept


def take_macros(lines, every=False):
    """Takes the macros out that the header undefines after their use, or all of them."""
    undefined = {}
    for number, line in enumerate(lines):
        if match := re.match(r"#undef (\w+)", line):
            undefined[match[1]] = number
    macros, kept, number = {}, [], 0
    while number < len(lines):
        match = re.match(r"#define (\w+)(?:\(([^)]*)\))?(.*)", lines[number])
        if match and (every or undefined.get(match[1], -1) > number):
            body = match[3]
            while body.rstrip().endswith("\\"):
                number += 1
                body = body.rstrip()[:-1] + "\n" + lines[number]
            names = None if match[2] is None else [n.strip() for n in match[2].split(",")]
            macros[match[1]] = (names, body.strip())
        elif not lines[number].startswith("#undef "):
            kept.append(lines[number])
        number += 1
    return macros, kept


def expand(code, macros):
    for macro, (names, body) in macros.items():
        if names is None:
            code = re.sub(rf"\b{macro}\b" + ("" if body else " ?"), lambda _: body, code)
            continue

        def written_out(match):
            values = [value.strip() for value in match[1].split(",")]
            return re.sub(r"\w+", lambda word: dict(zip(names, values)).get(word[0], word[0]), body)

        code = re.sub(rf"\b{macro}\(([^()]*)\)", written_out, code)
    return re.sub(r" ?\(\* ", " (*", code)


def api_macros():
    code = without_comments((INCLUDE / API).read_text())
    return take_macros(c_lines(code), every=True)[0]


def read_header(name, api):
    macros, lines = take_macros(c_lines((INCLUDE / name).read_text()))
    macros |= api
    if not lines or not lines[0].startswith("/*"):
        raise Fault(f"include/{name}: does not begin with a comment")
    sections = []
    comment, chunk, depth, number = None, [], 0, 0

    def close():
        nonlocal comment, chunk
        if chunk and (declarations := split(name, expand("\n".join(chunk), macros))):
            sections[-1].entries.append(Entry(comment or [], declarations))
        elif comment and len(sections) > 1:
            raise Fault(f"include/{name}: there is nothing below a comment: {comment[0]}")
        comment, chunk = None, []

    while number < len(lines):
        line = lines[number]
        number += 1
        if depth == 0 and line.startswith("/*"):
            close()
            body = [line]
            while "*/" not in body[-1]:
                body.append(lines[number])
                number += 1
            text = [re.sub(r"^(/\*| \*/| \*) ?", "", part).replace("*/", "").rstrip() for part in body]
            while text and not text[-1]:
                text.pop()
            title = re.match(r"-+ (.*?) -*$", text[0])
            if title:
                sections.append(Section(title[1], text[1:]))
            elif not sections:
                sections.append(Section("", text))
            else:
                comment = text
        elif depth == 0 and not line.strip():
            close()
        else:
            chunk.append(line)
            bare = without_comments(line)
            depth += bare.count("{") + bare.count("(") - bare.count("}") - bare.count(")")
    close()
    return sections


def split(header, code):
    """The declarations of a run of code."""
    found, at = [], 0
    while code[at:].strip():
        at += len(code[at:]) - len(code[at:].lstrip())
        end, depth = at, 0
        if code.startswith("#", at):
            while code[end:end + 1] and (code[end] != "\n" or code[end - 1] == "\\"):
                end += 1
        else:
            while True:
                if end >= len(code):
                    raise Fault(f"include/{header}: no end of: {code[at:at + 60]}")
                if code.startswith("/*", end):
                    end = code.index("*/", end) + 2
                    continue
                depth += {"{": 1, "(": 1, "}": -1, ")": -1}.get(code[end], 0)
                end += 1
                if depth == 0 and (code[end - 1] == ";" or code[end - 1] == "}" and
                                   re.search(r"\)\s*{", code[at:end])):
                    break
            remark = re.match(r"[ ]*/\*[^\n]*\*/", code[end:])
            end += remark.end() if remark else 0
        if declaration := describe(header, code[at:end]):
            found.append(declaration)
        at = end
    return found


def describe(header, code):
    bare = " ".join(without_comments(code).split())
    if bare in ("}", 'extern "C" {', ";"):
        return None
    if bare.startswith("#define"):
        head = re.match(r"#define (\w+)(\([^)]*\))?", bare)
        if re.fullmatch(r"#define (\w+_H|_GCC_\w+)", bare):
            return None
        return Declaration("macro", head[1], head[0] if "\\\n" in code else code)
    if re.match(r"(typedef|struct|enum|union)\b[^(]*[{;]", bare) or bare.startswith("typedef"):
        name = re.search(r"(\w+)(\[\d*\])?( ?\([^()]*\))?;$", bare) if bare.startswith("typedef") else \
            re.match(r"\w+ (\w+)", bare)
        return Declaration("other", name[1] if name else "",
                           wrap(bare) if re.fullmatch(r"typedef [^{]*\);", code, re.S) else code)
    if re.match(r"extern [^()]*;$", bare):
        return Declaration("other", re.search(r"(\w+)(\[\d*\])?;$", bare)[1], code)

    remark = re.search(r"/\*.*?\*/\s*$", code, flags=re.S)
    link = re.search(r'__asm__\(((?:"[^"]*"\s*)+)\)', re.sub(r"{.*", "", bare))
    inline = "{" in bare
    plain = re.sub(r"\{.*", ";", bare)
    plain = re.sub(r'__asm__\((?:"[^"]*"\s*)+\)', "", plain)
    no_return = "noreturn" in plain or "_Noreturn" in plain
    plain = re.sub(r"__attribute__\(\((?:[^()]|\([^()]*\))*\)\)|_Noreturn", "", plain)
    plain = plain.replace("__inline__", "inline")
    plain = re.sub(r"\s*;$", ";", " ".join(plain.split()))
    match = re.match(r"(?:(?:static|extern) inline )?(.*?)\b(\w+)\((.*)\);$", plain)
    if not match:
        raise Fault(f"include/{header}: cannot read: {bare[:80]}")
    name = match[2]
    link = "".join(re.findall(r'"([^"]*)"', link[1])) if link else name
    shown = ("_Noreturn " if no_return else "") + plain
    notes = (f" /* link name {link} */" if link != name else "") + (
        f" {remark[0].strip()}" if remark else "")
    if len(shown) + len(notes) > 100 and len(shown) <= 100 and notes:
        shown = notes.strip() + "\n" + shown
    else:
        shown = wrap(shown) + notes
    return Declaration("routine", name, shown, link, inline, bool(remark))


def wrap(code):
    if len(code) <= 100:
        return code
    lines, indent = [], " " * (code.index("(") + 1)
    for part in re.split(r"(?<=,) ", code):
        if lines and len(lines[-1]) + 1 + len(part) <= 100:
            lines[-1] += " " + part
        else:
            lines.append((indent if lines else "") + part)
    return "\n".join(lines)


# ---- What the library keeps -------------------------------------------------

def exported():
    rows = (ROOT / "src/exports/export_rows.inc").read_text()
    return dict(re.findall(r'TARN_EXPORT(?:_C)?\("([^"]+)", ([\w$]+)\)', rows))


def export_fault(declaration, rows):
    if declaration.inline or declaration.link in OF_THE_IMAGE:
        return None
    if declaration.link not in rows:
        return f"{declaration.link} is declared but not exported"
    return None


# ---- Writing a page ---------------------------------------------------------


def anchor(declaration):
    """Distinct without regard to case, as EXP@ and exp stand on one page."""
    at = {"@": "-at", "$": "-dollar"}.get(declaration.link[-1:], "")
    return declaration.name + at


TOKENS = re.compile(
    r"`[^`]*`"  # code already
    r"|<[\w/]+\.h>|docs/[\w-]+\.md|__attribute__\(\(\w+\)\)"
    r"|\"[^\"\n]*\\[^\"\n]*\""  # "\r\n"
    r"|'\\?.'"
    r"|%[-#*.\d]*[a-zA-Z]+\b|%\[[^\]]*\]"  # %llp
    r"|\*+[A-Za-z]\w*"  # *exponent
    r"|[A-Za-z_]\w*(?:[@$]|\(\))?"  # words
    r"|[\\*_<>\[\]#|]")


def prose(line, own, places, page):
    def token(match):
        text = match[0]
        if text.startswith("docs/"):
            return f"[{text}](../{text[5:]})"
        if text[0] == "`":
            code = text[1:-1]
        elif re.fullmatch(r"[\\*_<>\[\]#|]", text):
            return "\\" + text
        else:
            code = text
        name = code.rstrip("()")
        place = places.get(name) if name not in own else None
        if place and name in WORDS and not code.endswith("()"):
            place = None
        if place:
            return f"[`{code}`]({place.removeprefix(page)})"
        plain_word = re.fullmatch(r"[A-Za-z]+", code)
        if text[0] == "`" or (name in own and name not in WORDS) or not plain_word and (
                "_" in code or not re.fullmatch(r"\w+", code)):
            return f"`{code}`"
        return text

    line = TOKENS.sub(token, line)
    return re.sub(r"^(\d*)([-+.])(?=\s)", r"\1\\\2", line)


def markdown(text, own, places, page):
    lines, block = [], False
    for line in text:
        indented = line.startswith("  ") or (block and not line)
        if indented != block:
            while block and lines[-1] == "":
                lines.pop()
            lines += ["```", ""] if block else ["", "```text"]
            block = indented
        lines.append(line if block else prose(line, own, places, page))
    while lines and lines[-1] == "":
        lines.pop()
    if block:
        lines.append("```")
    out = []
    for line in lines:
        if line or (out and out[-1]):
            out.append(line)
    return out


def headers_of(page):
    for item in page[3]:
        header, *sections = item.split(":")
        yield header, sections


def write_page(page, headers, places):
    name, title, purpose, _ = page
    out = [f"# {title}", "", "Made by `scripts/reference.py` from the headers in `include/`; do not edit.",
           "[All pages and names](README.md)", ""]
    body = []
    for header, wanted in headers_of(page):
        sections = headers[header]
        out += [f"- `<{header}>`", *contents(sections, wanted)]
        body += [f"## &lt;{header}&gt;", "", "```c", f"#include <{header}>", "```", ""]
        for section in sections:
            if not wanted or section.title in ("", *wanted):
                body += write_section(section, places, f"{name}.md")
            if wanted and not section.title:
                others = [f"[{p[1]}]({p[0]}.md)" for p in PAGES if p is not page and
                          header in (h for h, _ in headers_of(p))]
                body += ["The rest of this header: " + ", ".join(others) + ".", ""]
    return "\n".join(out + [""] + body).rstrip("\n") + "\n"


def contents(sections, wanted):
    for section in sections:
        if wanted and section.title not in wanted:
            continue
        names = [f"[`{d.name}`](#{anchor(d)})" for e in section.entries for d in e.declarations
                 if d.kind == "routine" or e.text and d.name]
        if names:
            yield "    - " + (f"{section.title}: " if section.title else "") + ", ".join(names)


def write_section(section, places, page):
    out = []
    if section.title:
        out += [f"### {section.title}", ""]
    if section.text:
        out += markdown(section.text, set(), places, page) + [""]
    for entry in section.entries:
        names = [d for d in entry.declarations if d.name]
        own = {d.name for d in names} | {d.link for d in names}
        routines = [d for d in names if d.kind == "routine"] or names
        if names:
            out.append("".join(f'<a id="{anchor(d)}"></a>' for d in names))
            out.append("")
        if routines and (entry.text or names[0].kind == "routine"):
            shown = [f"`{d.name}`" for d in routines]
            if len(shown) > 6:
                shown = shown[:5] + [f"and {len(shown) - 5} more"]
            out += ["#### " + ", ".join(shown), ""]
        out += ["```c"] + [d.code for d in entry.declarations] + ["```", ""]
        if shapes := [shape for d in routines if (shape := FORTRAN.get(d.link))]:
            out += ["```fortran", *shapes, "```", ""]
        if entry.text:
            out += markdown(entry.text, own, places, page) + [""]
    return out


def write_index(headers, rows, places):
    declared = {}
    for page in PAGES:
        for header, wanted in headers_of(page):
            for section in headers[header]:
                if wanted and section.title not in wanted:
                    continue
                for entry in section.entries:
                    for d in entry.declarations:
                        if d.kind == "routine":
                            declared[d.name] = d
    names = {}
    for d in declared.values():
        names[d.name] = places[d.name]
        if d.link not in (d.name, d.name + "@", d.name + "$"):
            names[d.link] = places[d.name]
    out = ["# Reference", "",
           "Made by `scripts/reference.py` from the headers in `include/`; do not edit.", "",
           f"Every routine that a program can call from C: {len(declared)} of them, by family. All have the",
           "Microsoft x64 convention on both targets. `long` has 32 bits, `long long` and pointers 64.",
           "What the [module for Fortran](../fortran.md#the-librarys-services) has stands below the declaration in C.",
           "Routines that compiled Fortran calls have a *link name* with `@` or `$` at its end, shown beside",
           "the C name. What differs from ISO C and Fortran, in one table: [differences](../differences.md).",
           f"The library exports {len(rows)} routines in all; those that are not here are called by compiled",
           "code and by the library's own parts: [exported names](../exports.md).", "",
           "| Page | Headers | What for |", "|---|---|---|"]
    for page in PAGES:
        listed = []
        for header, _ in headers_of(page):
            if f"`<{header}>`" not in listed:
                listed.append(f"`<{header}>`")
        out.append(f"| [{page[1]}]({page[0]}.md) | {', '.join(listed)} | {page[2]} |")
    out += ["", "## All names", ""]
    initial = ""
    for name in sorted(names, key=lambda n: (n.lstrip("_").lower(), n)):
        if name.lstrip("_")[0].upper() != initial:
            initial = name.lstrip("_")[0].upper()
            out += ["", f"**{initial}**", ""] if out[-1] else [f"**{initial}**", ""]
        out.append(f"[`{name}`]({names[name]})")
    return "\n".join(out) + "\n"


# ---- The page of errors -----------------------------------------------------


def literal(text):
    return re.sub(r"\\(.)", r"\1", text)


def read_catalogue():
    """Of each number: its kind, text, and what in the library raises it."""
    rows, kind = [], None
    for line in (ROOT / CATALOGUE).read_text().split("\n"):
        if match := re.match(r"    // (.*)", line):
            kind = match[1]
        elif match := re.match(r'    /\* *(\d+) \*/ "((?:[^"\\]|\\.)*)",(?:  // (.*))?$', line):
            if int(match[1]) != len(rows) or kind is None:
                raise Fault(f"{CATALOGUE}: {match[1]} is out of its place")
            rows.append((kind, literal(match[2]), match[3]))
    if f"kCatalogueSize = {len(rows)};" not in (ROOT / CATALOGUE).with_suffix(".h").read_text():
        raise Fault(f"{CATALOGUE}: {len(rows)} lines were read, which is not kCatalogueSize")
    return rows


def raised_in_sources():
    """The names of tarn/errors.h that the library's sources use, each with its number where
    the source states one: assembly cannot read an enumeration."""
    for path in sorted((ROOT / "src").rglob("*.[chS]*")):
        if path.relative_to(ROOT / "src").parts[0] != "platform":  # whose numbers are the systems'
            yield from re.findall(r"(?:\bTARN_|#define )ERROR_(\w+)(?: (\d+))?", path.read_text())


def error_faults(rows):
    """What tarn/errors.h and the sources say otherwise than the catalogue."""
    listed = re.findall(r"/\* (.*) \*/\n  TARN_ERROR_(\w+) = (\d+)",
                        (INCLUDE / "tarn/errors.h").read_text())
    named = {int(number): text for text, _, number in listed}
    numbers = {name: number for _, name, number in listed}
    raised = {number: text for number, (_, text, by) in enumerate(rows) if by}
    for number in sorted({number for number, _ in named.items() ^ raised.items()}):
        yield f"include/tarn/errors.h: {number} is not what {CATALOGUE} says the library raises"
    used = set(raised_in_sources())
    for name in sorted(numbers.keys() - {name for name, _ in used}):
        yield f"include/tarn/errors.h: no source uses TARN_ERROR_{name}"
    for name, number in sorted(used):
        if number and numbers.get(name) != number:
            yield f"include/tarn/errors.h: a source has {number} for ERROR_{name}"


def write_errors(rows, places):
    codes = dict(re.findall(r"(k\w+) = 0x(\w+);", (ROOT / FAULT_CODES).read_text()))
    faults = [(codes.get(code, code.removeprefix("0x")), text) for code, text in re.findall(
        r'\{(?:platform::)?(\w+), "([^"]*)", \w+, [&\w]+\},', (ROOT / FAULTS).read_text())]
    if f"kExceptionRows = {len(faults)};" not in (ROOT / FAULTS).with_suffix(".h").read_text():
        raise Fault(f"{FAULTS}: {len(faults)} lines were read, which is not kExceptionRows")
    from_here = {name: f"reference/{place}" for name, place in places.items()}
    out = ["# Run-time errors", "",
           f"Made by `scripts/reference.py` from `{CATALOGUE}` and", f"`{FAULTS}`; do not edit.", "",
           f"Every text that can head [a failure report](reading-a-report.md): the {len(rows)} numbered",
           "run-time errors, by number, and after them the [faults](#faults) that the processor or the",
           "system finds.", "",
           "**Search this page for the text.** The number is what the failing code raised, by",
           "`__RuntimeError(408)` in C, `CALL FAIL@(408)` in Fortran, or the instruction `int 9` with it in",
           "rax. The heading of a report does not show it; its details and a saved report have it in `RAX`,",
           "in hexadecimal: `0000000000000198` is 408, if the instruction shown is `int       9`.", "",
           "- `%1` stands for a name or string of the failing code: search for the rest of the line. `%F` and",
           "  the space before it are not shown.",
           "- A text with a code in parentheses, as `Access violation (c0000005)`, is a fault.",
           "- `Underflow off expanding region` or `Overflow off expanding region`, and a name: an access just",
           "  outside a [region that grows on fault](reference/failures.md#setup_expanding_region).",
           "- Any other text that is not here is number 345, whose text comes from the code that raised it: search the program's",
           "  sources. This library has such texts for parallel tasks and for routines of `.rlo` libraries.", "",
           "**Then** look in the report for the first frame with a line number: there the program met the",
           "error ([how to read the frames, and how to save them](reading-a-report.md)). Where a row names",
           "what raises the error, that is in this library, and the link says when. All others are raised by",
           "compiled code and other libraries of the suite: check the statement on that line against the text.",
           "A number outside the list shows the text of 0."]
    for number, (kind, text, by) in enumerate(rows):
        if number == 0 or kind != rows[number - 1][0]:
            last = number
            while last + 1 < len(rows) and rows[last + 1][0] == kind:
                last += 1
            span = f"{number} to {last}" if last > number else f"{number}"
            out += ["", f"## {span}. {kind}", "", "| Number | Text |", "|---:|---|"]
        shown = f"`{text}`" if text else "(empty)"
        raised = f" – raised by {prose(by, set(), from_here, '')}" if by else ""
        out.append(f"| {number} | {shown}{raised} |")
    out += ["", "## Faults", "",
            "A fault has no number; the code in parentheses is the system's. A program can put",
            "[a routine that runs before the report](reference/failures.md#TRAP_EXCEPTION-at). A square root that is",
            "an invalid operation shows `Negative argument to square root`, without a code; a code that is not",
            "in the list shows `Unknown exception`.", "", "| Code | Text |", "|---|---|"]
    out += [f"| `{code.lower()}` | `{text}` |" for code, text in faults]
    return "\n".join(out) + "\n"


# ---- The whole --------------------------------------------------------------


def compiled_routines(headers):
    """The routines that the C compiler finds, by header; None without such a compiler."""
    gcc = shutil.which("gcc")
    if not gcc:
        return None
    with tempfile.TemporaryDirectory() as folder:
        (Path(folder) / "all.c").write_text("".join(f"#include <{h}>\n" for h in headers))
        subprocess.run([gcc, "-w", "-nostdinc", "-fno-builtin", "-I", str(INCLUDE), "-aux-info",
                        "found", "-fsyntax-only", "all.c"], cwd=folder, check=True)
        text = (Path(folder) / "found").read_text()
    found = {header: set() for header in headers}
    for path, name in re.findall(r"^/\* (.+?):\d+:\S+ \*/ .*?(\w+) \((?!\*)", text, flags=re.M):
        header = os.path.relpath(path, INCLUDE)
        if header in found:
            found[header].add(name)
    return found


# ---- The table of docs/architecture.md --------------------------------------


def texts(folder, suffixes):
    return {path.relative_to(ROOT / folder).as_posix(): path.read_text(encoding="latin-1")
            for path in sorted((ROOT / folder).rglob("*")) if path.suffix in suffixes}


def definitions(sources):
    """The sources that define each routine, by its name in the library."""
    everything = "".join((sources | texts("include", (".h",))).values())
    # What assembly calls a routine.
    symbols = re.findall(r'\b(\w+)\([^()]*\)\s+TARN_SYMBOL\("(\w+)"\)', everything)
    symbols += re.findall(r'\b(\w+)\([^()]*\) __asm__\("(\w+)"\);', everything)
    routines = {symbol: routine for routine, symbol in symbols}
    places = {}
    for name, text in sources.items():
        if name.startswith(("platform/", "exports/")):
            continue
        for found in (re.findall(r"^ROUTINE\((\w+)\)", text, re.M) if name.endswith(".S") else
                      re.findall(r"^(?![ \t#/])[^;\n=(]*?\b([\w$]+)\([^;{]*{", text, re.M)):
            places.setdefault(routines.get(found, found), set()).add(name)
    return places


def architecture(headers):
    """docs/architecture.md with its table made anew. The second column has the sources that
    define the header's routines, all of them; the third, tests that name the routines: those
    there were, and as many more as are needed to name each that any test names."""
    page = (DOCS / "architecture.md").read_text()
    rows = exported()
    places = definitions(texts("src", (".cpp", ".h", ".S")))
    words = {name: set(re.findall(r"[A-Za-z_]\w*[@$]?", text))
             for name, text in texts("tests", (".cpp", ".c", ".txt")).items()
             if re.fullmatch(r"unit/\w+_test\.cpp|cases/\w+\.txt|programs/.*\.c(pp)?", name)
             and not name.endswith("CMakeLists.txt")}
    row = re.compile(r"^\| `([\w/]+\.h)` \| .* \| (.*) \|\n", re.M)
    before = {header: re.findall(r"`([^`]+)`", tests) for header, tests in row.findall(page)}
    made = []
    for header, sections in headers.items():
        routines = {d.link: {d.link, d.name, rows.get(d.link, d.name)}
                    for s in sections for e in s.entries for d in e.declarations
                    if d.kind == "routine" and not d.inline and d.link not in OF_THE_IMAGE}
        if not routines:
            continue
        code = set().union(*(places.get(rows.get(link, link), set()) for link in routines))
        met = {name: {link for link, names in routines.items() if names & of} for name, of in words.items()}
        tests = [name for name in before.get(header, []) if met.get(name)]
        missed = set().union(*met.values()) - set().union(*(met[name] for name in tests))
        while missed:
            # Of equal ones the unit tests and tables, then the first by name.
            tests.append(max(sorted(met), key=lambda name: (len(met[name] & missed), "programs" not in name)))
            missed -= met[tests[-1]]
        made.append("| `{}` | {} | {} |\n".format(header, *(
            ", ".join(f"`{name}`" for name in names) for names in (sorted(code), tests))))
    start = row.search(page)
    return page[:start.start()] + "".join(made) + row.sub("", page[start.start():])


def hosted_programs():
    """docs/hosted-programs.md with the names at its end that images may import."""
    page = (DOCS / "hosted-programs.md").read_text()
    source = "src/platform/posix/system_library/system_exports.inc"
    names = re.findall(r"^TARN_SYSTEM_EXPORT\((\w+)\)", (ROOT / source).read_text(), re.M)
    if names != sorted(set(names)):
        raise Fault(f"{source}: not in the order of the names")
    marker = f"<!-- made from {source} -->\n"
    return page[:page.index(marker)] + marker + "\n" + textwrap.fill(
        ", ".join(f"`{name}`" for name in names) + ".", 90, break_on_hyphens=False) + "\n"


def readme():
    """README.md with the figures of the rows that it names, as docs/performance.md has them."""
    def figures(text):
        return {line[4:39].rstrip(): line for line in text.splitlines() if line.startswith("    ")}
    page, rows = (ROOT / "README.md").read_text(), figures((DOCS / "performance.md").read_text())
    begin = page.index("    row   ")
    end = page.index("\n\n", begin)
    if missing := figures(page[begin:end]).keys() - rows.keys():
        raise Fault(f"README.md: docs/performance.md has no row {', '.join(sorted(missing))}")
    return page[:begin] + "\n".join(rows[name] for name in figures(page[begin:end])) + page[end:]


def broken_links():
    for path in [ROOT / "README.md", *sorted((ROOT / "docs").rglob("*.md"))]:
        for target in re.findall(r"\]\(([^)\s]+)\)", path.read_text()):
            file, _, place = target.partition("#")
            if "://" in target:
                continue
            goal = path if not file else (path.parent / file)
            if not goal.exists():
                yield f"{path.relative_to(ROOT)}: there is no {target}"
            elif place and goal.suffix == ".md":
                text = goal.read_text()
                titles = [re.sub(r"[^\w\- ]", "", t).strip().lower().replace(" ", "-")
                          for t in re.findall(r"^#+ (.*)$", text, flags=re.M)]
                if f'<a id="{place}">' not in text and place not in titles:
                    yield f"{path.relative_to(ROOT)}: there is no {target}"


def make():
    names = [str(path.relative_to(INCLUDE)) for path in sorted(INCLUDE.rglob("*.h"))]
    api = api_macros()
    headers = {name: read_header(name, api) for name in names if name != API}
    rows, places, seen = exported(), {}, {}
    catalogue = read_catalogue()
    faults = list(error_faults(catalogue))
    for page in PAGES:
        for header, wanted in headers_of(page):
            if header not in headers:
                faults.append(f"include/{header}: is to be on {page[0]}.md but does not exist")
                continue
            for section in headers[header]:
                if wanted and section.title not in wanted:
                    continue
                seen.setdefault(header, set()).add(section.title)
                for entry in section.entries:
                    for d in entry.declarations:
                        place = f"{page[0]}.md#{anchor(d)}"
                        if d.kind == "routine":
                            places[d.name] = places[d.link] = place
    for header, sections in headers.items():
        for section in sections:
            if section.entries and section.title not in seen.get(header, set()):
                faults.append(f"include/{header}: {section.title or 'the header'} is on no page of PAGES")
            for entry in section.entries:
                for d in entry.declarations:
                    if d.kind != "routine":
                        continue
                    if not (entry.text or section.text and section.title or d.remark):
                        faults.append(f"include/{header}: {d.name} has no comment")
                    if fault := export_fault(d, rows):
                        faults.append(f"include/{header}: {fault}")
    if faults:
        raise Fault("\n".join(faults))
    for header in fortran_module.ROUTINES:
        for d in fortran_module.wanted(header, headers[header]):
            FORTRAN[d.link] = "\n".join(fortran_module.interface(d))
    pages = {MODULE: fortran_module.module((DOCS / MODULE).read_text(), headers)}
    pages |= {f"reference/{page[0]}.md": write_page(page, headers, places) for page in PAGES}
    pages["reference/README.md"] = write_index(headers, rows, places)
    pages["errors.md"] = write_errors(catalogue, places)
    pages["architecture.md"] = architecture(headers)
    pages["hosted-programs.md"] = hosted_programs()
    pages["../README.md"] = readme()
    return headers, pages


def check(headers, pages):
    faults, compiled = [], compiled_routines(headers)
    for header, sections in headers.items():
        read = {d.name for s in sections for e in s.entries for d in e.declarations
                if d.kind == "routine"}
        if compiled is not None and compiled[header] != read:
            faults.append(f"include/{header}: the compiler and this script disagree on "
                          f"{', '.join(sorted(compiled[header] ^ read))}")
    for name in sorted(made_before() | set(pages)):
        path = DOCS / name
        if not path.exists() or path.read_text() != pages.get(name):
            faults.append(f"{os.path.normpath('docs/' + name)} differs from what the sources make; run scripts/reference.py")
    return faults + list(broken_links())


def made_before():
    return {f"reference/{path.name}" for path in (DOCS / "reference").glob("*")}


def main():
    try:
        headers, pages = make()
        if sys.argv[1:] == ["--check"]:
            if faults := check(headers, pages):
                raise Fault("\n".join(faults))
            return 0
    except Fault as fault:
        print(fault, file=sys.stderr)
        return 1
    (DOCS / "reference").mkdir(exist_ok=True)
    for old in made_before() - set(pages):
        (DOCS / old).unlink()
    for name, text in pages.items():
        (DOCS / name).write_text(text)
    return 0


if __name__ == "__main__":
    sys.exit(main())
