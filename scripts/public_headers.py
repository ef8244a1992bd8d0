"""The headers in include/ as sections of declarations with their comments.

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
import tempfile
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
INCLUDE = ROOT / "include"

# How the declarations are spelled; declares nothing.
API = "tarn/api.h"


class Fault(Exception):
    pass


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


def read_headers():
    names = [str(path.relative_to(INCLUDE)) for path in sorted(INCLUDE.rglob("*.h"))]
    api = api_macros()
    return {name: read_header(name, api) for name in names if name != API}


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
