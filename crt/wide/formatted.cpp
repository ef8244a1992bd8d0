// Formatting and scanning of wide strings; libmingwex does the work.
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <wchar.h>

#include "../streams/stream.h"
#include "../streams/variadic.h"

extern "C" {
int __mingw_wpformat(int flags, void* to, int size, const wchar_t* format, va_list);
int __mingw_vsnwprintf(wchar_t*, size_t, const wchar_t*, va_list);
int __mingw_vfwscanf(FILE*, const wchar_t*, va_list);
int __mingw_vswscanf(const wchar_t*, const wchar_t*, va_list);
double __mingw_wcstod(const wchar_t*, wchar_t**);
}

// libmingwex counts the characters whether they could be written or not.
CRT_API int vfwprintf(FILE* file, const wchar_t* format, va_list arguments) {
  crt::Stream& stream = crt::stream_of(file);
  const crt::Locked locked(stream.lock);
  const crt::FreshError error(stream);
  constexpr int kNoLimit = 0x4000, kToFile = 0x2000;
  const int count = __mingw_wpformat(kToFile | kNoLimit, file, 0, format, arguments);
  return error.is_set() ? -1 : count;
}
CRT_API int fwprintf(FILE* file, const wchar_t* format, ...) {
  ARGUMENTS(format, vfwprintf(file, format, arguments));
}
CRT_API int vwprintf(const wchar_t* format, va_list arguments) {
  return vfwprintf(stdout, format, arguments);
}
CRT_API int wprintf(const wchar_t* format, ...) {
  ARGUMENTS(format, vfwprintf(stdout, format, arguments));
}
// Microsoft's form: no NUL in a full buffer, and -1 for what is longer; the length if there
// is no buffer.
CRT_API int _vsnwprintf(wchar_t* buffer, size_t size, const wchar_t* format, va_list arguments) {
  if (!buffer && size == 0) return __mingw_vsnwprintf(nullptr, 0, format, arguments);
  va_list again;
  va_copy(again, arguments);
  const int length = __mingw_vsnwprintf(buffer, size, format, again);
  va_end(again);
  if (length < 0 || static_cast<size_t>(length) < size) return length;
  if (size > 0) {
    // The last place has the NUL.
    const size_t whole_size = static_cast<size_t>(length) + 1;
    wchar_t* const whole = static_cast<wchar_t*>(malloc(whole_size * sizeof(wchar_t)));
    if (!whole) return -1;
    __mingw_vsnwprintf(whole, whole_size, format, arguments);
    wmemcpy(buffer, whole, size);
    free(whole);
  }
  return static_cast<size_t>(length) == size ? length : -1;
}
CRT_API int _snwprintf(wchar_t* buffer, size_t size, const wchar_t* format, ...) {
  ARGUMENTS(format, _vsnwprintf(buffer, size, format, arguments));
}
CRT_API int _vscwprintf(const wchar_t* format, va_list arguments) {
  return __mingw_vsnwprintf(nullptr, 0, format, arguments);
}
CRT_API int _scwprintf(const wchar_t* format, ...) {
  ARGUMENTS(format, __mingw_vsnwprintf(nullptr, 0, format, arguments));
}
CRT_API int _vswprintf(wchar_t* buffer, const wchar_t* format, va_list arguments) {
  return __mingw_vsnwprintf(buffer, INT_MAX, format, arguments);
}
CRT_API int _swprintf(wchar_t* buffer, const wchar_t* format, ...) {
  ARGUMENTS(format, __mingw_vsnwprintf(buffer, INT_MAX, format, arguments));
}
extern "C" {
int iso_vswprintf(wchar_t*, size_t, const wchar_t*, va_list) __asm__("vswprintf");
int iso_swprintf(wchar_t*, size_t, const wchar_t*, ...) __asm__("swprintf");
double out_of_line_wcstod(const wchar_t*, wchar_t**) __asm__("wcstod");
// ISO C: -1 for what does not fit.
int iso_vswprintf(wchar_t* buffer, size_t size, const wchar_t* format, va_list arguments) {
  const int length = __mingw_vsnwprintf(buffer, size, format, arguments);
  return length >= 0 && static_cast<size_t>(length) >= size ? -1 : length;
}
int iso_swprintf(wchar_t* buffer, size_t size, const wchar_t* format, ...) {
  ARGUMENTS(format, iso_vswprintf(buffer, size, format, arguments));
}
double out_of_line_wcstod(const wchar_t* string, wchar_t** end) {
  return __mingw_wcstod(string, end);
}
}

CRT_API int fwscanf(FILE* file, const wchar_t* format, ...) {
  ARGUMENTS(format, __mingw_vfwscanf(file, format, arguments));
}
CRT_API int wscanf(const wchar_t* format, ...) {
  ARGUMENTS(format, __mingw_vfwscanf(stdin, format, arguments));
}
CRT_API int swscanf(const wchar_t* string, const wchar_t* format, ...) {
  ARGUMENTS(format, __mingw_vswscanf(string, format, arguments));
}

// libmingwex writes the strings of its own formatting by this, with six formats alone:
// "%*.*s", "%-*.*s", "%.*s", and the same with S for a string of bytes.
extern "C" int __ms_fwprintf(FILE* file, const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const bool to_left = format[1] == L'-';
  const bool has_width = format[to_left ? 2 : 1] == L'*';
  const int width = has_width ? va_arg(arguments, int) : 0;
  const int count = va_arg(arguments, int);
  const void* const string = va_arg(arguments, const void*);
  const bool bytes = format[wcslen(format) - 1] == L'S';
  va_end(arguments);
  int written = 0;
  const auto put = [file, &written](wchar_t character) {
    if (fputwc(character, file) != WEOF) ++written;
  };
  for (int i = count; !to_left && i < width; ++i) put(L' ');
  const char* from = static_cast<const char*>(string);
  mbstate_t state = {};
  for (int i = 0; i < count; ++i) {
    wchar_t character;
    if (bytes) {
      const size_t length = mbrtowc(&character, from, MB_LEN_MAX, &state);
      if (length == static_cast<size_t>(-1)) return -1;
      from += length;
    } else {
      character = static_cast<const wchar_t*>(string)[i];
    }
    put(character);
  }
  for (int i = count; to_left && i < width; ++i) put(L' ');
  return written;
}
