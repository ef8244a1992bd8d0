// The path of the program, in the images that ask for it by these names.
#include <stdlib.h>

#include "../strings/utf8.h"

#undef _pgmptr
#undef _wpgmptr

namespace {

char path[crt::kPathSize];
wchar_t wide_path[crt::kPathSize];

__attribute__((constructor(101))) void read_path() {
  GetModuleFileNameA(nullptr, path, sizeof path);
  crt::to_wide(path, wide_path, crt::kPathSize);
}

}  // namespace

extern "C" {
char* program_path __asm__("_pgmptr") = path;
wchar_t* wide_program_path __asm__("_wpgmptr") = wide_path;
}

CRT_API errno_t _get_pgmptr(char** result) {
  if (!result) return errno = EINVAL;
  *result = program_path;
  return 0;
}
CRT_API errno_t _get_wpgmptr(wchar_t** result) {
  if (!result) return errno = EINVAL;
  *result = wide_program_path;
  return 0;
}
