// Dates and times as text, in the forms with a size and those of wide characters, and what
// the zone's variables hold.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "../strings/checked.h"
#include "time.h"

extern "C" {
long* __p__timezone(void);
int* __p__daylight(void);
long* __p__dstbias(void);
}

using namespace crt;

namespace {

constexpr size_t kSize = 26;  // of asctime's text

struct tm now() {
  const __time64_t seconds = _time64(nullptr);
  struct tm broken;
  if (_localtime64_s(&broken, &seconds) != 0) broken = {};
  return broken;
}

template <class Char>
errno_t copy_text(Char* to, size_t size, const char* text) {
  Char wide[kSize] = {};
  for (size_t i = 0; text[i] && i < kSize - 1; ++i) wide[i] = static_cast<unsigned char>(text[i]);
  return copy_checked(to, size, 0, wide);
}

template <class Char>
errno_t write_date(Char* to, size_t size, const char* format, const struct tm* fields) {
  char text[kSize];
  if (!fields || strftime(text, sizeof text, format, fields) == 0) return refuse(to, size, EINVAL);
  return copy_text(to, size, text);
}

constexpr char kAsctime[] = "%a %b %e %H:%M:%S %Y\n";

template <class Char>
errno_t write_local(Char* to, size_t size, const __time64_t* seconds) {
  struct tm broken;
  if (!seconds || _localtime64_s(&broken, seconds) != 0) return refuse(to, size, EINVAL);
  return write_date(to, size, kAsctime, &broken);
}

template <class Char>
Char* or_null(errno_t error, Char* text) {
  return error == 0 ? text : nullptr;
}

wchar_t shared_text[kSize];

}  // namespace

CRT_API errno_t asctime_s(char* to, size_t size, const struct tm* fields) {
  return write_date(to, size, kAsctime, fields);
}
CRT_API errno_t _wasctime_s(wchar_t* to, size_t size, const struct tm* fields) {
  return write_date(to, size, kAsctime, fields);
}
CRT_API wchar_t* _wasctime(const struct tm* fields) {
  return or_null(_wasctime_s(shared_text, kSize, fields), shared_text);
}
CRT_API errno_t _ctime64_s(char* to, size_t size, const __time64_t* seconds) {
  return write_local(to, size, seconds);
}
CRT_API errno_t _wctime64_s(wchar_t* to, size_t size, const __time64_t* seconds) {
  return write_local(to, size, seconds);
}
CRT_API wchar_t* _wctime64(const __time64_t* seconds) {
  return or_null(_wctime64_s(shared_text, kSize, seconds), shared_text);
}

#define NOW_AS_TEXT(name, format)                                                   \
  CRT_API errno_t _str##name##_s(char* to, size_t size) {                           \
    const struct tm fields = now();                                                 \
    return write_date(to, size, format, &fields);                                   \
  }                                                                                 \
  CRT_API errno_t _wstr##name##_s(wchar_t* to, size_t size) {                       \
    const struct tm fields = now();                                                 \
    return write_date(to, size, format, &fields);                                   \
  }                                                                                 \
  CRT_API char* _str##name(char* to) { return or_null(_str##name##_s(to, 9), to); } \
  CRT_API wchar_t* _wstr##name(wchar_t* to) { return or_null(_wstr##name##_s(to, 9), to); }
NOW_AS_TEXT(date, "%m/%d/%y")
NOW_AS_TEXT(time, "%H:%M:%S")

CRT_API errno_t _get_timezone(long* seconds) {
  if (!seconds) return errno = EINVAL;
  *seconds = *__p__timezone();
  return 0;
}
CRT_API errno_t _get_daylight(int* hours) {
  if (!hours) return errno = EINVAL;
  *hours = *__p__daylight();
  return 0;
}
CRT_API errno_t _get_dstbias(long* seconds) {
  if (!seconds) return errno = EINVAL;
  *seconds = *__p__dstbias();
  return 0;
}
CRT_API errno_t _get_tzname(size_t* result, char* to, size_t size, int index) {
  if (!result || index < 0 || index > 1 || (!to && size > 0)) return refuse(to, size, EINVAL);
  *result = strlen(_tzname[index]) + 1;
  return to ? copy_checked(to, size, 0, _tzname[index]) : 0;
}
