// The forms of the stream routines that know the size of the target, or report by their result.
// Formatted text that does not fit is -1 and the target empty; _TRUNCATE as the count writes
// what fits.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "../strings/checked.h"
#include "stream.h"
#include "variadic.h"

using namespace crt;

extern "C" {
int iso_vsnprintf(char*, size_t, const char*, va_list) __asm__("vsnprintf");
int wide_vsnprintf(wchar_t*, size_t, const wchar_t*, va_list) __asm__("__mingw_vsnwprintf");
}

namespace {

int format(char* to, size_t size, const char* text, va_list arguments) {
  return iso_vsnprintf(to, size, text, arguments);
}
int format(wchar_t* to, size_t size, const wchar_t* text, va_list arguments) {
  return wide_vsnprintf(to, size, text, arguments);
}

// Both formatters write at most `size` characters with the NUL, and count all of them.
template <class Char>
int format_checked(Char* to, size_t size, size_t count, const Char* text, va_list arguments) {
  if (!to || size == 0 || !text) return refuse(to, size, EINVAL), -1;
  const bool truncates = count == _TRUNCATE;
  const size_t room = count < size ? count + 1 : size;
  const int length = format(to, room, text, arguments);
  if (length < 0) return refuse(to, size, errno), -1;
  if (static_cast<size_t>(length) < room) return length;
  if (!truncates && room == size) return refuse(to, size, ERANGE), -1;
  to[room - 1] = 0;
  return -1;
}

errno_t opened(FILE** result, FILE* file) {
  *result = file;
  return file ? 0 : errno;
}

}  // namespace

#define CHECKED_FORMATS(Char, sprintf_s, vsprintf_s, _snprintf_s, _vsnprintf_s)         \
  CRT_API int vsprintf_s(Char* to, size_t size, const Char* text, va_list arguments) {  \
    return format_checked(to, size, SIZE_MAX - 1, text, arguments);                     \
  }                                                                                     \
  CRT_API int sprintf_s(Char* to, size_t size, const Char* text, ...) {                 \
    ARGUMENTS(text, format_checked(to, size, SIZE_MAX - 1, text, arguments));           \
  }                                                                                     \
  CRT_API int _vsnprintf_s(Char* to, size_t size, size_t count, const Char* text,       \
                           va_list arguments) {                                         \
    return format_checked(to, size, count, text, arguments);                            \
  }                                                                                     \
  CRT_API int _snprintf_s(Char* to, size_t size, size_t count, const Char* text, ...) { \
    ARGUMENTS(text, format_checked(to, size, count, text, arguments));                  \
  }
CHECKED_FORMATS(char, sprintf_s, vsprintf_s, _snprintf_s, _vsnprintf_s)
CHECKED_FORMATS(wchar_t, swprintf_s, vswprintf_s, _snwprintf_s, _vsnwprintf_s)

CRT_API errno_t fopen_s(FILE** result, const char* path, const char* mode) {
  return result ? opened(result, fopen(path, mode)) : errno = EINVAL;
}
CRT_API errno_t _wfopen_s(FILE** result, const wchar_t* path, const wchar_t* mode) {
  return result ? opened(result, _wfopen(path, mode)) : errno = EINVAL;
}
CRT_API errno_t freopen_s(FILE** result, const char* path, const char* mode, FILE* file) {
  return result && file ? opened(result, freopen(path, mode, file)) : errno = EINVAL;
}
CRT_API errno_t _wfreopen_s(FILE** result, const wchar_t* path, const wchar_t* mode, FILE* file) {
  return result && file ? opened(result, _wfreopen(path, mode, file)) : errno = EINVAL;
}
CRT_API errno_t tmpfile_s(FILE** result) {
  return result ? opened(result, tmpfile()) : errno = EINVAL;
}
CRT_API errno_t clearerr_s(FILE* file) {
  if (!file) return errno = EINVAL;
  clearerr(file);
  return 0;
}

// No more than `room` bytes: what would pass it stays in the file.
CRT_API size_t fread_s(void* buffer, size_t room, size_t size, size_t count, FILE* file) {
  if (size > 0 && count > 0 && !buffer) {
    errno = EINVAL;
    return 0;
  }
  if (size > 0 && count > room / size) {
    memset(buffer, 0, room);
    errno = ERANGE;
    return 0;
  }
  return fread(buffer, size, count, file);
}

// A line that does not fit is read to its end, and the result is null.
CRT_API char* gets_s(char* line, size_t size) {
  if (!line || size == 0) return refuse(line, size, EINVAL), nullptr;
  const Locked locked(stream_of(stdin).lock);
  size_t length = 0;
  int character;
  while ((character = get(stream_of(stdin))) != EOF && character != '\n') {
    if (length < size) line[length++] = static_cast<char>(character);
  }
  if (length == size) return refuse(line, size, ERANGE), nullptr;
  line[length] = '\0';
  return character == EOF && length == 0 ? nullptr : line;
}
