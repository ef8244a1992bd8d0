// tarncc: from sources to a finished image in one command. It runs the cross
// compiler with the flags that programs of the library need, links with the
// start-up object and the import library, and finishes the image.
#include <cstdio>

#include "make.h"
#include "messages.h"
#include "run_program.h"

namespace {

constexpr char kHelp[] =
    "Usage: tarncc [options] FILE... -o IMAGE\n"
    "\n"
    "Makes a program from C and C++ sources (.c .cpp .cc .cxx), Fortran (.f .for .ftn .f90\n"
    ".f95 .f03 .f08, also in capitals), assembly (.s .S), objects (.o .obj) and libraries\n"
    "(.a), and copies the library's DLLs beside it.\n"
    "Run it with `tarnrun IMAGE`, or on Windows by its name.\n"
    "\n"
    "  -o IMAGE       the image; by default a.exe\n"
    "  --dll, -shared make a DLL, and its import library libNAME.dll.a beside it\n"
    "  --hosted       for programs in ISO C: the cross compiler's own headers, the whole C\n"
    "                 library, any -O\n"
    "                 C++ sources, and objects made from them, are hosted without it\n"
    "  --suite        compile C++ sources as C ones are: without exceptions and the standard\n"
    "                 library\n"
    "  --trap         hosted, but invalid operations, divisions by zero and overflows\n"
    "                 trap, as in programs that are not hosted\n"
    "  --report-only  an ordinary program of the cross compiler, with its own C run-time\n"
    "                 and any of its options, but with the library's failure report\n"
    "  --fortran      hosted, with Fortran's libraries, as for Fortran sources; for objects\n"
    "                 made from them\n"
    "  --legacy       Fortran from before 1990: locals keep their values and begin as zero,\n"
    "                 old extensions are allowed, arguments are not checked\n"
    "  --stack SIZE   stack of the main thread, such as 500M; a Fortran program has 64M\n"
    "  --standalone   make two programs of -o NAME: NAME for Linux, which contains the runner,\n"
    "                 the image and the program's own DLLs and needs no installation, and\n"
    "                 NAME.exe for Windows, which needs the library's two DLLs and the\n"
    "                 program's own beside it\n"
    "  --no-dlls      do not copy TARNLIBC64.DLL and PANEVIEW64.DLL\n"
    "  --verbose      print each command; -### prints them and runs none\n"
    "  --undefined-fill --require-avx --note --strip --public-routines\n"
    "                 as for finish_image; -s is --strip\n"
    "  --help, --version\n"
    "\n"
    "Other options are GCC's: -c -S -E -M -MMD -fsyntax-only, -x LANGUAGE, - for standard\n"
    "input, @FILE, -v, -dumpmachine, -D -I -O -W -f -g -m -std= and the like for the\n"
    "compiler, -l -L -Wl, -Xlinker for the linker. What images do not support, such\n"
    "as -fsanitize=address or -pg, is refused.\n"
    "\n"
    "The compiler is $TARN_CC, by default x86_64-w64-mingw32-gcc; for Fortran $TARN_FC, by\n"
    "default x86_64-w64-mingw32-gfortran-posix.\n"
    "Exit status: 0 for success, 1 if something was refused, 2 for a wrong command line.\n";

// Ours first; then the compiler's, by which build systems recognise it.
int print_version(const char* argument, bool of_fortran) {
  std::puts("tarncc " TARN_VERSION);
  std::fflush(stdout);
  Places places;
  if (find_places(argument, &places).empty() && (!of_fortran || find_fortran(&places).empty())) {
    run_program({(of_fortran ? places.fortran : places.compiler).string(), "--version"}, {});
  }
  return kDone;
}

}  // namespace

int main(int count, char** arguments) {
  Words words(arguments + 1, arguments + count);
  if (const std::string wrong = expand_response_files(&words); !wrong.empty()) {
    return usage_error(wrong);
  }
  Request request;
  if (const int status = read_command_line(words, &request); status != kDone) return status;
  if (request.help) {
    std::fputs(kHelp, stdout);
    return kDone;
  }
  if (request.version) return print_version(arguments[0], request.fortran);
  Places places;
  if (const std::string missing = find_places(arguments[0], &places); !missing.empty()) {
    return refuse(missing);
  }
  if (request.fortran) {
    if (const std::string missing = find_fortran(&places); !missing.empty()) return refuse(missing);
  }
  if (!request.question.empty()) {
    request.question.insert(request.question.begin(),
                            (request.fortran ? places.fortran : places.compiler).string());
    return run_program(request.question, {});
  }
  if (request.goal == Goal::kImage && request.output.empty()) {
    request.output = request.dll ? "a.dll" : "a.exe";
  }
  return make(request, places);
}
