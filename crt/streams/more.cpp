// Streams by the other names of Windows' C run-time.
#include <io.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "../strings/utf8.h"
#include "stream.h"

using namespace crt;

namespace {

constexpr size_t kModeSize = 32;

template <class Open>
FILE* with_mode(const wchar_t* mode, Open open) {
  char narrow[kModeSize];
  return to_utf8(mode, narrow, sizeof narrow) ? open(narrow) : nullptr;
}

wchar_t* widened(const char* text, wchar_t* to, size_t size) {
  if (!text) return nullptr;
  if (!to) to = static_cast<wchar_t*>(malloc((size = strlen(text) + 3) * sizeof(wchar_t)));
  return to && to_wide(text, to, size) ? to : nullptr;
}

}  // namespace

// The bytes of an int; EOF is also a value.
CRT_API int _getw(FILE* file) {
  int word;
  return fread(&word, sizeof word, 1, file) == 1 ? word : EOF;
}
CRT_API int _putw(int word, FILE* file) {
  return fwrite(&word, sizeof word, 1, file) == 1 ? word : EOF;
}

// All but the standard ones. Result: how many, or EOF.
CRT_API int _fcloseall(void) {
  int count = 0;
  for (Stream* stream = other_streams; stream; stream = stream->following) {
    if (stream->number < 0) continue;
    if (fclose(&stream->face) != 0) return EOF;
    ++count;
  }
  return count;
}
CRT_API int _getmaxstdio(void) { return kMostDescriptors; }
CRT_API int _setmaxstdio(int most) {
  return most >= 20 && most <= kMostDescriptors ? most : fail_with(EINVAL);
}

// Exponents have two digits, as ISO C says, whatever the program asks for.
CRT_API unsigned _get_output_format(void) { return _TWO_DIGIT_EXPONENT; }
CRT_API unsigned _set_output_format(unsigned) { return _TWO_DIGIT_EXPONENT; }

CRT_API FILE* _wfdopen(int number, const wchar_t* mode) {
  return with_mode(mode, [=](const char* narrow) { return _fdopen(number, narrow); });
}
CRT_API FILE* _wfsopen(const wchar_t* path, const wchar_t* mode, int share) {
  const NarrowPath narrow_path(path);
  if (!narrow_path.valid()) return nullptr;
  return with_mode(mode, [&](const char* narrow) { return _fsopen(narrow_path, narrow, share); });
}
CRT_API FILE* _wpopen(const wchar_t* command, const wchar_t* mode) {
  const NarrowText narrow_command(command);
  if (!narrow_command.valid()) return nullptr;
  return with_mode(mode, [&](const char* narrow) { return _popen(narrow_command, narrow); });
}
CRT_API wchar_t* _wtmpnam(wchar_t* buffer) {
  static wchar_t own[L_tmpnam + 16];
  char name[L_tmpnam + 16];
  return widened(tmpnam(name), buffer ? buffer : own, L_tmpnam + 16);
}
CRT_API wchar_t* _wtempnam(const wchar_t* folder, const wchar_t* prefix) {
  const NarrowPath narrow_folder(folder ? folder : L""), narrow_prefix(prefix ? prefix : L"");
  if (!narrow_folder.valid() || !narrow_prefix.valid()) return nullptr;
  char* const name =
      _tempnam(folder ? static_cast<const char*>(narrow_folder) : nullptr, narrow_prefix);
  wchar_t* const wide = widened(name, nullptr, 0);
  free(name);
  return wide;
}
