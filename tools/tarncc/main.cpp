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
    "Makes a program of C and C++ sources (.c .cpp .cc .cxx), Fortran (.f .for .f90 .f95\n"
    ".f03 .f08, and in capitals), assembly (.s .S), objects (.o .obj) and libraries (.a),\n"
    "and puts the library's DLLs beside it.\n"
    "Run it by `tarnrun IMAGE`, or on Windows by its name.\n"
    "\n"
    "  -o IMAGE       the image; by default a.exe\n"
    "  --dll, -shared make a DLL, and its import library libNAME.dll.a beside it\n"
    "  --hosted       for programs in ISO C: the cross compiler's own headers, and the\n"
    "                 whole of the C library; at any -O\n"
    "                 C++ sources, and objects compiled so, are hosted without it\n"
    "  --suite        C++ sources as C ones: without exceptions and standard library\n"
    "  --trap         hosted, but invalid operations, divisions by zero and overflows\n"
    "                 trap as in other programs of the library\n"
    "  --report-only  an ordinary program of the cross compiler, with its own C run-time\n"
    "                 and any of its options, whose failures end in the library's report\n"
    "  --fortran      hosted, with Fortran's libraries: as with Fortran sources, for objects\n"
    "                 that were made of them\n"
    "  --legacy       Fortran of before 1990: locals keep their values and begin as zero, old\n"
    "                 extensions, arguments unchecked\n"
    "  --stack SIZE   of the main thread, such as 500M; a Fortran program has 64M\n"
    "  --standalone   of -o NAME both NAME, a Linux program that carries the runner, the image\n"
    "                 and the program's own DLLs and needs no installation, and NAME.exe, which\n"
    "                 on Windows needs nothing but the two DLLs and the program's own beside it\n"
    "  --no-dlls      do not copy TARNLIBC64.DLL and PANEVIEW64.DLL\n"
    "  --verbose      print each command; -### prints them and runs none\n"
    "  --undefined-fill --require-avx --note --strip --public-routines\n"
    "                 as finish_image has them; -s is --strip\n"
    "  --help, --version\n"
    "\n"
    "The rest is GCC's: -c -S -E -M -MMD -fsyntax-only, -x LANGUAGE, - for standard\n"
    "input, @FILE, -v, -dumpmachine, -D -I -O -W -f -g -m -std= and their like for the\n"
    "compiler, -l -L -Wl, -Xlinker for the linker. What an image cannot have, such\n"
    "as -fsanitize= or -pg, is refused.\n"
    "\n"
    "The compiler is $TARN_CC, or else x86_64-w64-mingw32-gcc; of Fortran $TARN_FC, or else\n"
    "x86_64-w64-mingw32-gfortran-posix.\n"
    "Exit status: 0 if done, 1 if something was refused, 2 for a wrong command line.\n";

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
