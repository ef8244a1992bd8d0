"""The pages of docs/reference, made from the comments of the public headers."""

import re

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
    ("compression-and-sort", "Compression, sort and search", "compressing blocks and files; `qsort`, "
     "`bsearch`", ["tarn/compression.h", "stdlib.h:Sort and search"]),
    ("image", "Images, start-up and configuration", "what a source requests of its start-up; common "
     "blocks, resources, registry, version", ["tarn/image.h", "tarn/runtime.h",
                                              "tarn/introspection.h"]),
    ("measuring", "Measuring", "how often each line ran, how long a routine takes",
     ["tarn/profile.h", "tarn/timing.h"]),
    ("types", "Types and limits", "widths, limits, variable arguments",
     ["stddef.h", "stdint.h", "limits.h", "stdarg.h"]),
]

# Routines whose names are English words too: a comment means one only before "()".
WORDS = {"gets", "puts", "system", "free", "exit", "log", "exists", "compare", "rewind", "abs", "exp"}


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


def write_page(page, headers, places, fortran):
    """`fortran` has by link name the interface that the Fortran module has."""
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
                body += write_section(section, places, f"{name}.md", fortran)
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


def write_section(section, places, page, fortran):
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
        if shapes := [shape for d in routines if (shape := fortran.get(d.link))]:
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
           "The interface in the [module for Fortran](../fortran.md#the-librarys-services), if there is one, is below the C declaration.",
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
