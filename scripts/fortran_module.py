"""The interfaces of include/tarn/tarnlib.f90, made from the headers' declarations by
scripts/reference.py: an argument is by value or by reference as C has it, and text is the
address of its bytes. So the module has no name that is not exported, and none with other
arguments.

A name with @ or $, which no Fortran compiler accepts, is linked as NAME_at or NAME_dollar: the
import library of hosted programs has it so, too (crt/service_imports.py). Where the library
has a form for Fortran and one for C, the module has the first."""

import itertools
import re

BEGIN, END = "  ! Made from the headers by scripts/reference.py:\n", "  ! Made until here.\n"

# What the module has of each header, by link names; "*" is all but those after it.
#
# Left out are: results in a form that compiled code has for itself (CONJ@, DCONJ@; __dotp8 and
# the like, which the module calls by routines of crt/fortran); LABEL@ and JUMP@, which need a
# compiler that knows of the second return; streams and what works on C's; parts of other
# routines; and what Fortran has in the language. Formatted text has one argument, for %s.
ROUTINES = {
    "tarn/console.h": """CONSOLE_WRITE@ CONSOLE_WRITE_CHAR@ FLUSH_CONSOLE@ SET_CONSOLE_BUFFER_MODE@
        SET_CONSOLE_WRAP_MODE@ ConsolePrintf ConsolePrintfC ClearPrintfCLine ConsoleBoxPrint
        SetBoxShadow SetBoxChar SET_CONSOLE_COLOUR@ SET_CONSOLE_BACKGROUND@ SetTextAttribute
        PUSH_CONSOLE_COLOUR@ POP_CONSOLE_COLOUR@ ClearCurrentLine ClearToCursorPos ClearToEOL
        SET_PAUSE_MODE@ ConsolePaused CLEAR_PAUSE_LINE@ get_key ConsoleRead ScreenWidth ScreenHeight
        SET_CONSOLE_CURSOR_POS@ GET_CONSOLE_CURSOR_POS@ SET_CURSOR_SIZE@ CURSOR_CONTROL@ HIDE_CURSOR@
        RESTORE_CURSOR@ CONSOLE_REDIRECTED@ REDIRECT_CONSOLE_OUTPUT@ REDIRECT_CONSOLE_INPUT@
        _get_console_handle""",
    "tarn/progress.h": """* MakeErrorReportLine add_int_and_string CreateNamedEvent""",
    "tarn/fortran_math.h": """* CONJ@ DCONJ@ __dotp8 __dotp8x __dotp4 __dotp4x""",
    "tarn/character.h": """* string_replace""",
    "tarn/timing.h": "*",
    "tarn/parallel.h": "*",
    "tarn/process.h": "* _spawnv",
    "tarn/files.h": "* open_file_path",
    "tarn/compression.h": "__tarn_compress __tarn_compress1 __tarn_compress2 __tarn_decompress",
    "tarn/storage.h": "LockStorage UnlockStorage",
    "tarn/errors.h": "FAIL@ ReportErrorNumber@ ReportErrorString@ nt_error_message",
    "tarn/traps.h": "* __set_software_underflows CLEAR_FLT_UNDERFLOW$ EXCEPTION_ADDRESS$ LABEL@ JUMP@",
    "tarn/runtime.h": """ReadRegAndEnv read_config_key GetDllVersion GetPhysicalMemorySize GetWinVer
        GET_PROGRAM_NAME@ isAVXSupported""",
}

# Arguments that C's declaration does not say all about.
COMPLEX4, COMPLEX8 = "complex(c_float), intent(in)", "complex(c_double), intent(in)"
BETTER = {
    ("CABS@", "z"): COMPLEX4, ("AIMAG@", "z"): COMPLEX4,
    ("CDABS@", "z"): COMPLEX8, ("DIMAG@", "z"): COMPLEX8,
    ("BROADCASTBYTES@", "buffer"): "type(*), dimension(*)",
    ("file_checksum", "sums"): "integer(c_int), dimension(2), intent(out)",
    # Null is an answer.
    ("__dquote_string", "destination"): "character(kind=c_char), dimension(*), optional",
    ("__dunquote_string", "destination"): "character(kind=c_char), dimension(*), optional",
    ("setup_expanding_region", "name"): "character(kind=c_char), dimension(*), intent(in), optional",
}

# Their results are left out: a length that hardly anybody asks for.
CALLED = {"ConsolePrintf", "ConsolePrintfC", "ConsoleBoxPrint"}

NUMBERS = {
    "int": "integer(c_int)", "unsigned int": "integer(c_int)", "short": "integer(c_short)",
    "signed char": "integer(c_signed_char)", "int64_t": "integer(c_int64_t)",
    "uint64_t": "integer(c_int64_t)", "size_t": "integer(c_size_t)", "float": "real(c_float)",
    "double": "real(c_double)", "tarn_handle": "integer(c_int64_t)",
    "char": "character(kind=c_char)",
}
POINTED_ROUTINES = {"tarn_trap_routine*", "tarn_break_routine*"}
TEXT = "character(kind=c_char), dimension(*), intent(in)"


def fortran_name(link):
    name = link.rstrip("@$").lstrip("_")
    name = re.sub(r"(?<=[a-z])(?=[A-Z])|(?<=[A-Z])(?=[A-Z][a-z])", "_", name).lower()
    return name if name.startswith("tarn_") else "tarn_" + name


def link_name(link):
    return link.replace("@", "_at").replace("$", "_dollar")


def arguments(code):
    """Result type, and [(type, name)], of a declaration as the pages show it."""
    plain = " ".join(re.sub(r"/\*.*?\*/", "", code, flags=re.S).split())
    result, text = re.fullmatch(r"(?:_Noreturn )?(.+?[ *])\w+\((.*)\);", plain).groups()
    found = []
    for part in re.split(r", (?![^()]*\))", text):
        if match := re.fullmatch(r"void ?\(\*(\w+)\)\(void\)", part):
            found.append(("routine", match[1]))
        elif match := re.fullmatch(r"(.+?[ *])(\w+)", part):
            found.append((match[1].strip(), match[2]))
        elif part == "...":
            found.append(("const char*", "text"))
        elif part != "void":
            raise ValueError(part)
    return result.strip(), found


def dummy(kind):
    if kind == "routine" or kind in POINTED_ROUTINES:
        return "type(c_funptr), value"
    if kind in NUMBERS:
        return NUMBERS[kind] + ", value"
    pointed = kind.removeprefix("const ").removesuffix("*")
    if pointed == "char":
        return TEXT if kind.startswith("const") else TEXT.replace("in)", "inout)")
    if pointed in NUMBERS:
        return NUMBERS[pointed] + (", intent(in)" if kind.startswith("const") else ", intent(inout)")
    if "void*" in kind:
        return "type(c_ptr), value" if pointed == "void" else "type(c_ptr), intent(in)"
    raise KeyError(kind)


def interface(declaration):
    result, given = arguments(declaration.code)
    name, link = fortran_name(declaration.link), link_name(declaration.link)
    head = "subroutine"
    if result != "void" and declaration.link not in CALLED:
        kind = NUMBERS.get(result) or ("type(c_funptr)" if result in POINTED_ROUTINES else "type(c_ptr)")
        head = f"{kind} function"
    lines = [f"{head} {name}({', '.join(n for _, n in given)}) &", f"    bind(C, name='{link}')"]
    if len(lines[0]) + len(lines[1]) < 96:
        lines = [lines[0].removesuffix("&") + lines[1].strip()]
    if given or head != "subroutine":
        lines.append("  import")
    kinds = [(BETTER.get((declaration.link, n)) or dummy(k), n) for k, n in given]
    for kind, same in itertools.groupby(kinds, key=lambda k: k[0]):
        lines.append(f"  {kind} :: {', '.join(n for _, n in same)}")
    return lines + ["end " + head.split()[-1]]


def wanted(header, sections):
    listed = ROUTINES.get(header, "").split()
    routines = {d.link: d for s in sections for e in s.entries for d in e.declarations
                if d.kind == "routine" and not d.inline}
    for link in listed:
        if link != "*" and link not in routines:
            raise KeyError(f"include/{header}: does not declare {link}, which the Fortran module names")
    if listed[:1] == ["*"]:
        return [d for link, d in routines.items() if link not in listed]
    return [routines[link] for link in listed]


def parameters(sections):
    for section in sections:
        for entry in section.entries:
            for d in entry.declarations:
                body = re.sub(r"/\*.*?\*/", "", d.code, flags=re.S)
                if "enum" not in body.split("{")[0]:
                    continue
                for name, value in re.findall(r"(TARN_\w+) = (-?\w+)", body):
                    yield f"integer(c_int), parameter :: {name.lower()} = {int(value, 0)}"


def module(text, headers):
    """The module's source, with what is made made anew."""
    made = []
    for header in ROUTINES:
        made += [f"  {line}" for line in parameters(headers[header])]
    made += ["", "  interface"]
    for header in ROUTINES:
        made += ["", f"    ! <{header}>"]
        for d in wanted(header, headers[header]):
            made += [f"    {line}" for line in interface(d)]
    made += ["  end interface"]
    begin, end = text.index(BEGIN) + len(BEGIN), text.index(END)
    return text[:begin] + "\n".join(made) + "\n" + text[end:]
