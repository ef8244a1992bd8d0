// scanf from the console: by lines, which the console edits and echoes. What a call leaves of
// its line is the next call's.
#include <conio.h>
#include <stdio.h>
#include <wchar.h>

#include "../streams/checked_scan.h"
#include "../streams/stream.h"
#include "../streams/variadic.h"
#include "keys.h"

using namespace crt;

extern "C" {
int __mingw_vfscanf(FILE*, const char*, va_list);
int __mingw_vfwscanf(FILE*, const wchar_t*, va_list);
}

namespace {

template <class Char, class Scan>
int scan_lines(const Char* format, va_list arguments, Scan scan) {
  static FILE* const lines = fopen("CONIN$", "r");
  if (!lines) return EOF;
  const Locked locked(stream_of(lines).lock);
  flush_all();
  const int key = take_pushed_key();
  if (key != EOF) ungetc(key, lines);
  clearerr(lines);
  return scan(lines, format, arguments);
}

int scan(const char* format, va_list arguments) {
  return scan_lines(format, arguments, __mingw_vfscanf);
}
int scan_wide(const wchar_t* format, va_list arguments) {
  return scan_lines(format, arguments, __mingw_vfwscanf);
}
int scan_checked(const char* format, va_list arguments) {
  return scan_lines(format, arguments, scan_file);
}
int scan_wide_checked(const wchar_t* format, va_list arguments) {
  return scan_lines(format, arguments, scan_wide_file);
}

}  // namespace

#define CONSOLE_SCAN(Char, plain, name, name_with_locale)                                    \
  CRT_API int name(const Char* format, ...) { ARGUMENTS(format, plain(format, arguments)); } \
  SCAN_WITH_LOCALE(Char, (), (), name_with_locale, plain)
CONSOLE_SCAN(char, scan, _cscanf, _cscanf_l)
CONSOLE_SCAN(wchar_t, scan_wide, _cwscanf, _cwscanf_l)
CONSOLE_SCAN(char, scan_checked, _cscanf_s, _cscanf_s_l)
CONSOLE_SCAN(wchar_t, scan_wide_checked, _cwscanf_s, _cwscanf_s_l)
