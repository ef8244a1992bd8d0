// Wide strings: what neither libmingwex nor musl has in the form of mingw-w64's headers.
#include <stdio.h>
#include <stdlib.h>
#include <wchar.h>
#include <wctype.h>

#include "../crt.h"
#include "../strings/utf8.h"

CRT_API int wcscoll(const wchar_t* left, const wchar_t* right) { return wcscmp(left, right); }
CRT_API size_t wcsxfrm(wchar_t* to, const wchar_t* from, size_t size) {
  const size_t length = wcslen(from);
  if (size > 0) wcsncpy(to, from, size);
  return length;
}

CRT_API int _wcsnicmp(const wchar_t* left, const wchar_t* right, size_t count) {
  for (; count > 0; ++left, ++right, --count) {
    const int difference = towlower(*left) - towlower(*right);
    if (difference != 0 || *left == 0) return difference;
  }
  return 0;
}
CRT_API int _wcsicmp(const wchar_t* left, const wchar_t* right) {
  return _wcsnicmp(left, right, SIZE_MAX);
}

CRT_API wchar_t* _wcsdup(const wchar_t* string) {
  const size_t size = wcslen(string) + 1;
  wchar_t* const copy = static_cast<wchar_t*>(malloc(size * sizeof(wchar_t)));
  return copy ? wmemcpy(copy, string, size) : nullptr;
}
CRT_API wchar_t* _wcslwr(wchar_t* string) {
  for (wchar_t* at = string; *at; ++at) *at = towlower(*at);
  return string;
}
CRT_API wchar_t* _wcsupr(wchar_t* string) {
  for (wchar_t* at = string; *at; ++at) *at = towupper(*at);
  return string;
}

CRT_API wchar_t* _wcsset(wchar_t* string, wchar_t value) {
  for (wchar_t* at = string; *at; ++at) *at = value;
  return string;
}
CRT_API wchar_t* _wcsnset(wchar_t* string, wchar_t value, size_t count) {
  for (wchar_t* at = string; count > 0 && *at; ++at, --count) *at = value;
  return string;
}
CRT_API wchar_t* _wcsrev(wchar_t* string) {
  for (wchar_t *first = string, *last = string + wcslen(string); first + 1 < last;) {
    const wchar_t kept = *first;
    *first++ = *--last;
    *last = kept;
  }
  return string;
}

// The form of the system's own run-time: the place is kept by the routine.
extern "C" wchar_t* wcstok_of_two(wchar_t*, const wchar_t*) __asm__("wcstok");
extern "C" wchar_t* wcstok_of_two(wchar_t* string, const wchar_t* separators) {
  static wchar_t* place;
  if (!string) string = place;
  if (!string) return nullptr;
  string += wcsspn(string, separators);
  if (!*string) return place = nullptr;
  wchar_t* const end = string + wcscspn(string, separators);
  place = *end ? end + 1 : nullptr;
  *end = 0;
  return string;
}

CRT_API int _wtoi(const wchar_t* s) { return static_cast<int>(wcstol(s, nullptr, 10)); }
CRT_API long _wtol(const wchar_t* s) { return wcstol(s, nullptr, 10); }
CRT_API long long _wtoi64(const wchar_t* s) { return _wcstoi64(s, nullptr, 10); }

CRT_API FILE* _wfopen(const wchar_t* path, const wchar_t* mode) {
  char narrow_mode[32];
  const crt::NarrowPath narrow(path);
  if (!narrow.valid() || !crt::to_utf8(mode, narrow_mode, sizeof narrow_mode)) return nullptr;
  return fopen(narrow, narrow_mode);
}
CRT_API FILE* _wfreopen(const wchar_t* path, const wchar_t* mode, FILE* file) {
  char narrow_mode[32];
  const crt::NarrowPath narrow(path ? path : L"");
  if (!narrow.valid() || !crt::to_utf8(mode, narrow_mode, sizeof narrow_mode)) return nullptr;
  return freopen(path ? static_cast<const char*>(narrow) : nullptr, narrow_mode, file);
}
CRT_API int _wsystem(const wchar_t* command) {
  const crt::NarrowText narrow(command);
  return narrow.valid() ? system(narrow) : -1;
}
