// The files of OPEN with STATUS='SCRATCH'. The compiler's Fortran library for Windows deletes
// them at CLOSE alone; these go however the program ends.
#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "../crt.h"

// As mkstemp: `form` ends in XXXXXX, which becomes what no other file has.
CRT_API int tarn_fortran_scratch_file(char* form) {
  constexpr int kAttempts = 100;
  constexpr char kLetters[] = "XXXXXX";
  char* const letters = form + strlen(form) - strlen(kLetters);
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    memcpy(letters, kLetters, strlen(kLetters));
    if (!_mktemp(form)) return -1;
    const int number =
        _open(form, _O_CREAT | _O_EXCL | _O_RDWR | _O_BINARY | _O_TEMPORARY | _O_NOINHERIT,
              _S_IREAD | _S_IWRITE);
    if (number >= 0 || errno != EEXIST) return number;
  }
  return -1;
}

// CLOSE deletes a file by its name once its handle has gone, and with that a scratch file.
CRT_API int tarn_fortran_remove(const char* path) {
  if (remove(path) == 0) return 0;
  return errno == ENOENT && strstr(path, "gfortrantmp") ? 0 : -1;
}
