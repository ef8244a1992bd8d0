// strftime of the "C" locale, with all conversions of ISO C; E and O change nothing.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "time.h"

namespace {

constexpr const char* kDays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                 "Thursday", "Friday", "Saturday"};
constexpr const char* kMonths[] = {"January",   "February", "March",    "April",
                                   "May",       "June",     "July",     "August",
                                   "September", "October",  "November", "December"};

template <int count>
const char* name_at(const char* const (&names)[count], int index) {
  return index >= 0 && index < count ? names[index] : "???";
}

long long year_of(const struct tm& t) { return t.tm_year + 1900LL; }

bool is_leap(long long year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

// The week by ISO 8601, and the year to which it belongs.
int iso_week(const struct tm& t, long long* year) {
  const int weekday = (t.tm_wday + 6) % 7;  // from Monday
  int week = (t.tm_yday - weekday + 10) / 7;
  *year = year_of(t);
  const auto weeks_in = [](long long y) {
    const long long january = crt::days_from_epoch(y, 0, 1);
    const int first = static_cast<int>(((january + 3) % 7 + 7) % 7);  // 0: Monday
    return first == 3 || (first == 2 && is_leap(y)) ? 53 : 52;
  };
  if (week < 1) return week = weeks_in(--*year);
  if (week > weeks_in(*year)) {
    ++*year;
    return 1;
  }
  return week;
}

struct Output {
  char* to;
  size_t room, length = 0;

  void add(const char* text) {
    for (; *text; ++text, ++length) {
      if (length < room) to[length] = *text;
    }
  }
  void first_three(const char* name) {
    const char text[4] = {name[0], name[1], name[2], '\0'};
    add(text);
  }
  void number(long long value, int width, char pad = '0') {
    char text[32];
    sprintf(text, pad == '0' ? "%0*lld" : "%*lld", width, value);
    add(text);
  }
};

void write_zone(Output& out, const struct tm& t) {
  struct tm as_universal = t, as_local = t;
  const auto offset = static_cast<long>(_mkgmtime64(&as_universal) - _mktime64(&as_local));
  const long minutes = (offset < 0 ? -offset : offset) / 60;
  char text[16];
  sprintf(text, "%c%02ld%02ld", offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
  out.add(text);
}

void write_zone_name(Output& out, const struct tm& t) {
  _tzset();
  out.add(_tzname[t.tm_isdst > 0]);
}

// The format that a conversion stands for; null if it is one of its own.
const char* format_of(char conversion) {
  switch (conversion) {
    case 'c':
      return "%a %b %e %H:%M:%S %Y";
    case 'D':
    case 'x':
      return "%m/%d/%y";
    case 'F':
      return "%Y-%m-%d";
    case 'h':
      return "%b";
    case 'n':
      return "\n";
    case 'r':
      return "%I:%M:%S %p";
    case 'R':
      return "%H:%M";
    case 't':
      return "\t";
    case 'T':
    case 'X':
      return "%H:%M:%S";
    default:
      return nullptr;
  }
}

void write_conversion(Output& out, char conversion, const struct tm& t) {
  long long year;
  switch (conversion) {
    case 'a':
      return out.first_three(name_at(kDays, t.tm_wday));
    case 'A':
      return out.add(name_at(kDays, t.tm_wday));
    case 'b':
      return out.first_three(name_at(kMonths, t.tm_mon));
    case 'B':
      return out.add(name_at(kMonths, t.tm_mon));
    case 'C':
      return out.number(year_of(t) / 100, 2);
    case 'd':
      return out.number(t.tm_mday, 2);
    case 'e':
      return out.number(t.tm_mday, 2, ' ');
    case 'g':
      iso_week(t, &year);
      return out.number(year % 100, 2);
    case 'G':
      iso_week(t, &year);
      return out.number(year, 4);
    case 'H':
      return out.number(t.tm_hour, 2);
    case 'I':
      return out.number(t.tm_hour % 12 == 0 ? 12 : t.tm_hour % 12, 2);
    case 'j':
      return out.number(t.tm_yday + 1, 3);
    case 'm':
      return out.number(t.tm_mon + 1, 2);
    case 'M':
      return out.number(t.tm_min, 2);
    case 'p':
      return out.add(t.tm_hour < 12 ? "AM" : "PM");
    case 'S':
      return out.number(t.tm_sec, 2);
    case 'u':
      return out.number(t.tm_wday == 0 ? 7 : t.tm_wday, 1);
    case 'U':
      return out.number((t.tm_yday + 7 - t.tm_wday) / 7, 2);
    case 'V':
      return out.number(iso_week(t, &year), 2);
    case 'w':
      return out.number(t.tm_wday, 1);
    case 'W':
      return out.number((t.tm_yday + 7 - (t.tm_wday + 6) % 7) / 7, 2);
    case 'y':
      return out.number((year_of(t) % 100 + 100) % 100, 2);
    case 'Y':
      return out.number(year_of(t), 1);
    case 'z':
      return write_zone(out, t);
    case 'Z':
      return write_zone_name(out, t);
    case '%':
      return out.add("%");
    default:
      return;
  }
}

void write(Output& out, const char* format, const struct tm& t) {
  for (; *format; ++format) {
    if (*format != '%') {
      const char text[2] = {*format, '\0'};
      out.add(text);
      continue;
    }
    ++format;
    while (*format == 'E' || *format == 'O' || *format == '#') ++format;
    if (*format == '\0') return;
    if (const char* const longer = format_of(*format)) {
      write(out, longer, t);
    } else {
      write_conversion(out, *format, t);
    }
  }
}

}  // namespace

CRT_API size_t strftime(char* to, size_t size, const char* format, const struct tm* fields) {
  Output out = {to, size};
  write(out, format, *fields);
  if (out.length >= size) {
    errno = ERANGE;
    return 0;
  }
  to[out.length] = '\0';
  return out.length;
}

CRT_API size_t wcsftime(wchar_t* to, size_t size, const wchar_t* format, const struct tm* fields) {
  char narrow_format[1024], text[4096];
  const size_t bytes = wcstombs(narrow_format, format, sizeof narrow_format);
  if (bytes >= sizeof narrow_format) return 0;
  if (strftime(text, sizeof text, narrow_format, fields) == 0) return 0;
  const size_t length = mbstowcs(nullptr, text, 0);
  if (length >= size) return 0;
  return mbstowcs(to, text, size);
}
