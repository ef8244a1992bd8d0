"""docs/errors.md, made from the tables of src/failure, and what these and the sources say
otherwise than tarn/errors.h."""

import re

from public_headers import INCLUDE, ROOT, Fault
from reference_pages import prose

CATALOGUE = "src/failure/catalogue.cpp"
FAULTS = "src/failure/exception_table.cpp"
FAULT_CODES = "src/platform/exception_codes.h"


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
           f"Every text that [a failure report](reading-a-report.md) can begin with: the {len(rows)} numbered",
           "run-time errors, by number, and then the [faults](#faults) that the processor or the",
           "system detects.", "",
           "**Search this page for the text.** The number is the one that the failing code raised, with",
           "`__RuntimeError(408)` in C, `CALL FAIL@(408)` in Fortran, or the instruction `int 9` with the",
           "number in rax. A report's first lines do not show it; its details and a saved report have it in",
           "`RAX`, in hexadecimal: `0000000000000198` is 408, if the instruction shown is `int       9`.", "",
           "- `%1` stands for a name or string of the failing code: search for the rest of the line. `%F` and",
           "  the space before it are not shown.",
           "- A text with a code in parentheses, such as `Access violation (c0000005)`, is a fault.",
           "- `Underflow off expanding region` or `Overflow off expanding region`, and a name: an access just",
           "  outside a [region that grows on fault](reference/failures.md#setup_expanding_region).",
           "- Any other text that is not here is number 345, whose text comes from the code that raised it:",
           "  search the program's sources. This library has such texts for parallel tasks and for routines of",
           "  `.rlo` libraries.", "",
           "**Then** look in the report for the first frame with a line number: the error occurred there",
           "([how to read the frames, and how to save them](reading-a-report.md)). If a row names a routine,",
           "this library raises the error, and the link says when. All others are raised by",
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
            "A fault has no number; the code in parentheses is the system's. A program can install",
            "[a routine that runs before the report](reference/failures.md#TRAP_EXCEPTION-at). An invalid operation",
            "in a square root shows `Negative argument to square root`, without a code; a code that is not",
            "in the list shows `Unknown exception`.", "", "| Code | Text |", "|---|---|"]
    out += [f"| `{code.lower()}` | `{text}` |" for code, text in faults]
    return "\n".join(out) + "\n"
