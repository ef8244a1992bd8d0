// scanf_s and kin: after the address for each %s, %c and %[ comes the room there. libmingwex
// scans into blocks that hold one character more; what fills its block did not fit, which ends
// the call there, with the target empty.
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "../crt.h"
#include "checked_scan.h"
#include "variadic.h"

using namespace crt;

extern "C" {
int __mingw_vfscanf(FILE*, const char*, va_list);
int __mingw_vsscanf(const char*, const char*, va_list);
int __mingw_vfwscanf(FILE*, const wchar_t*, va_list);
int __mingw_vswscanf(const wchar_t*, const wchar_t*, va_list);
}

namespace {

constexpr int kMost = 64;          // conversions of one call
constexpr size_t kLongest = 1024;  // of a format, with the widths that are added

struct Text {
  void* to;
  void* block;
  size_t room, unit;  // in characters of `unit` bytes
  int index;          // among the conversions that are counted
  bool ends;          // in a NUL: no %c
};

// A format without rooms, and its arguments: each takes eight bytes.
template <class Char>
class Plain {
 public:
  Plain() = default;
  ~Plain() {
    for (int i = 0; i < texts_; ++i) free(text_[i].block);
  }
  Plain(const Plain&) = delete;
  Plain& operator=(const Plain&) = delete;

  bool read(const Char* format, va_list arguments) {
    while (*format) {
      const Char character = *format++;
      put(character);
      if (character != '%') continue;
      if (*format == '%') {
        put(*format++);
      } else if (!read_conversion(&format, arguments)) {
        return false;
      }
    }
    put(0);
    return length_ < kLongest;
  }

  template <class Scan>
  int scan(Scan scan) {
    int result = scan(format_, reinterpret_cast<va_list>(slots_));
    for (int i = 0; i < texts_ && text_[i].index < result; ++i) {
      if (!deliver(text_[i])) result = text_[i].index;
    }
    return result;
  }

 private:
  void put(Char character) {
    if (length_ < kLongest) format_[length_] = character;
    ++length_;
  }

  bool read_conversion(const Char** format, va_list& arguments) {
    const auto next = [format] { return **format; };
    const bool counts = next() != '*';
    if (!counts) put(*(*format)++);
    size_t width = 0;
    for (; next() >= '0' && next() <= '9' && width < kLongest * kLongest; ++*format) {
      width = width * 10 + static_cast<size_t>(next() - '0');
    }
    Char lengths[4] = {};
    for (int i = 0; i < 3 && next() && strchr("hlLjztI", static_cast<char>(next())); ++i) {
      lengths[i] = *(*format)++;
      if (lengths[i] != 'I') continue;
      while (i < 2 && next() >= '0' && next() <= '9') lengths[++i] = *(*format)++;
    }
    char letter = static_cast<char>(next());
    const bool is_text = counts && letter && strchr("csCS[", letter);
    if (counts && slots_used_ == kMost) return false;
    if (is_text) {
      Text& text = text_[texts_++];
      const bool wide =
          lengths[0] == 'l' ||
          (lengths[0] != 'h' && (sizeof(Char) > 1) == (letter != 'C' && letter != 'S'));
      text = {va_arg(arguments, void*),   nullptr,     0,
              wide ? sizeof(wchar_t) : 1, assigned_++, letter != 'c' && letter != 'C'};
      text.room = va_arg(arguments, unsigned);
      if (text.ends ? width == 0 || width > text.room : width == 0) {
        width = text.ends ? text.room : 1;
      }
      if (width == 0) width = 1;
      text.block = calloc(width + 1, text.unit);
      if (!text.block) return false;
      if (!text.ends && width < text.room) text.room = width;
      if (!text.ends && width > text.room) text.room = 0;
      slots_[slots_used_++] = text.block;
      lengths[0] = wide ? 'l' : 0;
      lengths[1] = 0;
      letter = letter == '[' ? letter : static_cast<char>(letter | 0x20);
    } else if (counts) {
      slots_[slots_used_++] = va_arg(arguments, void*);
      if (letter != 'n') ++assigned_;
    }
    if (width > 0) put_number(width);
    for (const Char* length = lengths; *length; ++length) put(*length);
    if (letter) ++*format, put(letter);
    if (letter == '[') read_set(format);
    return true;
  }

  void put_number(size_t number) {
    if (number >= 10) put_number(number / 10);
    put(static_cast<Char>('0' + number % 10));
  }

  // A ']' at its beginning is a member.
  void read_set(const Char** format) {
    if (**format == '^') put(*(*format)++);
    if (**format == ']') put(*(*format)++);
    while (**format && **format != ']') put(*(*format)++);
    if (**format) put(*(*format)++);
  }

  static bool deliver(const Text& text) {
    size_t size = text.room;
    if (text.ends) {
      size = 1 + (text.unit == 1 ? strlen(static_cast<char*>(text.block))
                                 : wcslen(static_cast<wchar_t*>(text.block)));
    }
    if (size <= text.room && size > 0) {
      memcpy(text.to, text.block, size * text.unit);
      return true;
    }
    if (text.room > 0) memset(text.to, 0, text.unit);
    errno = ENOMEM;
    return false;
  }

  Char format_[kLongest];
  size_t length_ = 0;
  void* slots_[kMost];
  Text text_[kMost];
  int slots_used_ = 0, texts_ = 0, assigned_ = 0;
};

template <class Char, class Scan>
int scan_checked(const Char* format, va_list arguments, Scan scan) {
  Plain<Char> plain;
  if (!format || !plain.read(format, arguments)) return fail_with(EINVAL);
  return plain.scan(scan);
}

int scan_string(const char* string, const char* format, va_list arguments) {
  return scan_checked(format, arguments, [string](const char* plain, va_list slots) {
    return __mingw_vsscanf(string, plain, slots);
  });
}
int scan_wide_string(const wchar_t* string, const wchar_t* format, va_list arguments) {
  return scan_checked(format, arguments, [string](const wchar_t* plain, va_list slots) {
    return __mingw_vswscanf(string, plain, slots);
  });
}

// Of the first `most` characters alone.
template <class Char, class Scan>
int scan_part(const Char* string, size_t most, Scan scan) {
  if (!string) return fail_with(EINVAL);
  size_t length = 0;
  while (length < most && string[length]) ++length;
  auto* const part = static_cast<Char*>(calloc(length + 1, sizeof(Char)));
  if (!part) return EOF;
  memcpy(part, string, length * sizeof(Char));
  const int result = scan(part);
  free(part);
  return result;
}

#define SCAN_PART(Char, name, scan)                                                    \
  int name(const Char* string, size_t most, const Char* format, va_list arguments) {   \
    return scan_part(string, most,                                                     \
                     [&](const Char* part) { return scan(part, format, arguments); }); \
  }
SCAN_PART(char, scan_part_plain, __mingw_vsscanf)
SCAN_PART(char, scan_part_checked, scan_string)
SCAN_PART(wchar_t, scan_part_wide, __mingw_vswscanf)
SCAN_PART(wchar_t, scan_part_wide_checked, scan_wide_string)

}  // namespace

int crt::scan_file(FILE* file, const char* format, va_list arguments) {
  return scan_checked(format, arguments, [file](const char* plain, va_list slots) {
    return __mingw_vfscanf(file, plain, slots);
  });
}
int crt::scan_wide_file(FILE* file, const wchar_t* format, va_list arguments) {
  return scan_checked(format, arguments, [file](const wchar_t* plain, va_list slots) {
    return __mingw_vfwscanf(file, plain, slots);
  });
}

CRT_API int scanf_s(const char* format, ...) {
  ARGUMENTS(format, scan_file(stdin, format, arguments));
}
CRT_API int fscanf_s(FILE* file, const char* format, ...) {
  ARGUMENTS(format, scan_file(file, format, arguments));
}
CRT_API int sscanf_s(const char* string, const char* format, ...) {
  ARGUMENTS(format, scan_string(string, format, arguments));
}
CRT_API int wscanf_s(const wchar_t* format, ...) {
  ARGUMENTS(format, scan_wide_file(stdin, format, arguments));
}
CRT_API int fwscanf_s(FILE* file, const wchar_t* format, ...) {
  ARGUMENTS(format, scan_wide_file(file, format, arguments));
}
CRT_API int swscanf_s(const wchar_t* string, const wchar_t* format, ...) {
  ARGUMENTS(format, scan_wide_string(string, format, arguments));
}

SCAN_WITH_LOCALE(char, (), (stdin, ), _scanf_s_l, scan_file)
SCAN_WITH_LOCALE(char, (FILE * file, ), (file, ), _fscanf_s_l, scan_file)
SCAN_WITH_LOCALE(char, (const char* string, ), (string, ), _sscanf_s_l, scan_string)
SCAN_WITH_LOCALE(wchar_t, (), (stdin, ), _wscanf_s_l, scan_wide_file)
SCAN_WITH_LOCALE(wchar_t, (FILE * file, ), (file, ), _fwscanf_s_l, scan_wide_file)
SCAN_WITH_LOCALE(wchar_t, (const wchar_t* string, ), (string, ), _swscanf_s_l, scan_wide_string)

#define SCAN_PART_BY_NAME(Char, plain, name, name_with_locale)                                    \
  CRT_API int name(const Char* string, size_t most, const Char* format, ...) {                    \
    ARGUMENTS(format, plain(string, most, format, arguments));                                    \
  }                                                                                               \
  SCAN_WITH_LOCALE(Char, (const Char* string, size_t most, ), (string, most, ), name_with_locale, \
                   plain)
SCAN_PART_BY_NAME(char, scan_part_plain, _snscanf, _snscanf_l)
SCAN_PART_BY_NAME(char, scan_part_checked, _snscanf_s, _snscanf_s_l)
SCAN_PART_BY_NAME(wchar_t, scan_part_wide, _snwscanf, _snwscanf_l)
SCAN_PART_BY_NAME(wchar_t, scan_part_wide_checked, _snwscanf_s, _snwscanf_s_l)
