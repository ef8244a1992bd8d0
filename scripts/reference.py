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
also compares with the routines that the C compiler finds, and follows the links of all
Markdown files. That the library and its headers agree the compiler sees, as the library is
compiled against them.

public_headers reads the headers; reference_pages, errors_page and fortran_module write.
"""

import os
import re
import sys
import textwrap
from pathlib import Path

import errors_page
import fortran_module
import reference_pages
from public_headers import INCLUDE, ROOT, Fault, compiled_routines, read_headers

DOCS = ROOT / "docs"

# Every image has these of its own; the library does not export them.
OF_THE_IMAGE = {"memcpy", "memset"}

MODULE = "../include/tarn/tarnlib.f90"


def exported():
    rows = (ROOT / "src/exports/export_rows.inc").read_text()
    return dict(re.findall(r'TARN_EXPORT(?:_C)?\("([^"]+)", ([\w$]+)\)', rows))


def export_fault(declaration, rows):
    if declaration.inline or declaration.link in OF_THE_IMAGE:
        return None
    if declaration.link not in rows:
        return f"{declaration.link} is declared but not exported"
    return None


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
    headers = read_headers()
    rows, places, seen = exported(), {}, {}
    catalogue = errors_page.read_catalogue()
    faults = list(errors_page.error_faults(catalogue))
    for page in reference_pages.PAGES:
        for header, wanted in reference_pages.headers_of(page):
            if header not in headers:
                faults.append(f"include/{header}: is to be on {page[0]}.md but does not exist")
                continue
            for section in headers[header]:
                if wanted and section.title not in wanted:
                    continue
                seen.setdefault(header, set()).add(section.title)
                for entry in section.entries:
                    for d in entry.declarations:
                        place = f"{page[0]}.md#{reference_pages.anchor(d)}"
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
    fortran = {d.link: "\n".join(fortran_module.interface(d)) for header in fortran_module.ROUTINES
               for d in fortran_module.wanted(header, headers[header])}
    pages = {MODULE: fortran_module.module((DOCS / MODULE).read_text(), headers)}
    pages |= {f"reference/{page[0]}.md": reference_pages.write_page(page, headers, places, fortran)
              for page in reference_pages.PAGES}
    pages["reference/README.md"] = reference_pages.write_index(headers, rows, places)
    pages["errors.md"] = errors_page.write_errors(catalogue, places)
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
