// Names that no file has, and the files of tmpfile, which nobody else sees.
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <wchar.h>

#include "../strings/utf8.h"
#include "descriptors.h"

using namespace crt;

namespace {

constexpr int kAttempts = 10000;
constexpr char kDigits[] = "abcdefghijklmnopqrstuvwxyz234567";

// Another one each time, and in each process.
unsigned long long next_number() {
  static unsigned long long count;
  LARGE_INTEGER now;
  QueryPerformanceCounter(&now);
  return static_cast<unsigned long long>(now.QuadPart) * 2654435761u +
         GetCurrentProcessId() * 0x9E3779B97F4A7C15ull +
         __atomic_add_fetch(&count, 1, __ATOMIC_RELAXED);
}

void fill(char* letters, int count) {
  unsigned long long number = next_number();
  number ^= number >> 29;
  for (int i = 0; i < count; ++i, number /= 32) letters[i] = kDigits[number % 32];
}

bool exists(const char* path) { return GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES; }

// Folder, prefix and eight letters. Empty if there is no such name.
bool make_name(const char* folder, const char* prefix, char* name, size_t size) {
  const size_t length = strlen(folder) + strlen(prefix);
  if (length + 14 > size) {
    fail_with(ENAMETOOLONG);
    return false;
  }
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    strcpy(name, folder);
    strcat(name, prefix);
    fill(name + length, 8);
    strcpy(name + length + 8, ".tmp");
    if (!exists(name)) return true;
  }
  fail_with(EEXIST);
  return false;
}

}  // namespace

CRT_API FILE* tmpfile(void) {
  char folder[kPathSize], name[kPathSize];
  if (GetTempPathA(sizeof folder, folder) == 0) {
    fail();
    return nullptr;
  }
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (!make_name(folder, "tmp", name, sizeof name)) return nullptr;
    const int number =
        open_file(name, _O_CREAT | _O_EXCL | _O_RDWR | _O_BINARY | _O_TEMPORARY | _O_NOINHERIT,
                  _SH_DENYNO, _S_IREAD | _S_IWRITE);
    if (number >= 0) {
      FILE* const file = _fdopen(number, "w+b");
      if (!file) _close(number);
      return file;
    }
    if (errno != EEXIST) return nullptr;
  }
  return nullptr;
}

// In the current folder, as on Windows with a leading '\' left out: the root may be
// closed to the user.
CRT_API char* tmpnam(char* buffer) {
  static char own[L_tmpnam > 32 ? L_tmpnam : 32];
  char* const name = buffer ? buffer : own;
  return make_name("", "", name, L_tmpnam > 13 ? L_tmpnam : 13) ? name : nullptr;
}

CRT_API char* _tempnam(const char* folder, const char* prefix) {
  char path[kPathSize], name[kPathSize];
  const char* const wanted = getenv("TMP");
  if (wanted && exists(wanted)) folder = wanted;
  if (folder && exists(folder) && strlen(folder) + 2 < sizeof path) {
    strcpy(path, folder);
    if (!strchr("\\/", path[strlen(path) - 1])) strcat(path, "\\");
  } else if (GetTempPathA(sizeof path, path) == 0) {
    fail();
    return nullptr;
  }
  return make_name(path, prefix ? prefix : "", name, sizeof name) ? _strdup(name) : nullptr;
}

CRT_API char* _mktemp(char* form) {
  const size_t length = strlen(form);
  if (length < 6 || strcmp(form + length - 6, "XXXXXX") != 0) {
    fail_with(EINVAL);
    return nullptr;
  }
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    fill(form + length - 6, 6);
    if (!exists(form)) return form;
  }
  fail_with(EEXIST);
  return nullptr;
}
CRT_API wchar_t* _wmktemp(wchar_t* form) {
  char narrow[kPathSize];
  const size_t length = wcslen(form);
  if (!to_utf8(form, narrow, sizeof narrow) || !_mktemp(narrow)) return nullptr;
  const char* const letters = narrow + strlen(narrow) - 6;
  for (size_t i = 0; i < 6; ++i) form[length - 6 + i] = static_cast<wchar_t>(letters[i]);
  return form;
}
