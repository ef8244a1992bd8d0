#include "places.h"

#include <cstdlib>

#include "run_program.h"

#ifdef _WIN32
#include <process.h>
#include <stdlib.h>
#endif

namespace {

namespace fs = std::filesystem;

#ifdef _WIN32
constexpr const char* kCompilers[] = {"x86_64-w64-mingw32-gcc", "gcc"};
constexpr const char* kFortranCompilers[] = {"x86_64-w64-mingw32-gfortran", "gfortran"};
constexpr char kNoCompiler[] =
    "there is no gcc on PATH; install mingw-w64's, or name a compiler in TARN_CC";
constexpr char kNoFortran[] =
    "there is no gfortran on PATH; install mingw-w64's, or name a compiler in TARN_FC";
#else
constexpr const char* kCompilers[] = {"x86_64-w64-mingw32-gcc-posix", "x86_64-w64-mingw32-gcc",
                                      "x86_64-w64-mingw32-gcc-win32"};
// The run-time of the other kind has no threads.
constexpr const char* kFortranCompilers[] = {"x86_64-w64-mingw32-gfortran-posix",
                                             "x86_64-w64-mingw32-gfortran"};
constexpr char kNoCompiler[] =
    "there is no x86_64-w64-mingw32-gcc on PATH; install gcc-mingw-w64-x86-64, or name a "
    "compiler in TARN_CC";
constexpr char kNoFortran[] =
    "there is no x86_64-w64-mingw32-gfortran on PATH; install "
    "gfortran-mingw-w64-x86-64-posix, or name a compiler in TARN_FC";
#endif

fs::path own_file(const char* argument) {
#ifdef _WIN32
  return _pgmptr && *_pgmptr ? fs::path(_pgmptr) : fs::path(argument);
#else
  std::error_code error;
  const fs::path file = fs::read_symlink("/proc/self/exe", error);
  return error ? fs::path(argument) : file;
#endif
}

}  // namespace

std::string find_fortran(Places* places) {
  if (const char* const wanted = std::getenv("TARN_FC"); wanted && *wanted) {
    places->fortran = find_program(wanted);
    return places->fortran.empty() ? "there is no compiler " + std::string(wanted) + " (TARN_FC)"
                                   : std::string();
  }
  for (const char* const name : kFortranCompilers) {
    places->fortran = find_program(name);
    if (!places->fortran.empty()) return {};
  }
  return kNoFortran;
}

std::string find_places(const char* argument, Places* places) {
  const fs::path tools = own_file(argument).parent_path();
  const fs::path prefix = tools.parent_path();
  places->include = prefix / "include" / "tarnlib";
  places->parts = prefix / "lib" / "tarnlib";
  places->finish_image = tools / (std::string("finish_image") + kProgramSuffix);
  places->runner = tools / "tarnrun";
  for (const fs::path& file :
       {places->include / "stdio.h", places->parts / "libtarnlibc64.dll.a",
        places->parts / "program_start.o", places->parts / "program_flags", places->finish_image}) {
    std::error_code ignored;
    if (!fs::is_regular_file(file, ignored)) {
      return "the installation lacks " + file.string() +
             "; install both the host and the windows build into one prefix";
    }
  }
  if (const char* const wanted = std::getenv("TARN_CC"); wanted && *wanted) {
    places->compiler = find_program(wanted);
    if (places->compiler.empty())
      return "there is no compiler " + std::string(wanted) + " (TARN_CC)";
    return {};
  }
  for (const char* const name : kCompilers) {
    places->compiler = find_program(name);
    if (!places->compiler.empty()) return {};
  }
  return kNoCompiler;
}
