// Seconds since 1970-01-01 UTC, and dates. Years are any that an int holds; the zone's
// rules are the system's, those of its nearest year for times that it does not know.
#include "time.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>

namespace crt {

namespace {

constexpr long long kDaysPer400Years = 146097;

long long floor_divide(long long value, long long by) {
  return value / by - (value % by < 0 ? 1 : 0);
}

// Days of a year before its months: from March, so that the leap day is the last.
long long days_before_month(long long month) { return (153 * month + 2) / 5; }

}  // namespace

long long days_from_epoch(long long year, long long month, long long day) {
  year += floor_divide(month, 12);
  month -= floor_divide(month, 12) * 12;
  if (month < 2) --year;
  const long long from_march = (month + 10) % 12;
  const long long era = floor_divide(year, 400), of_era = year - era * 400;
  constexpr long long kMarch0To1970 = 719468;
  return era * kDaysPer400Years + of_era * 365 + of_era / 4 - of_era / 100 +
         days_before_month(from_march) + day - 1 - kMarch0To1970;
}

bool break_down(long long seconds, struct tm* broken) {
  constexpr long long kMarch0To1970 = 719468;
  const long long days = floor_divide(seconds, kSecondsPerDay);
  const long long second = seconds - days * kSecondsPerDay;
  const long long shifted = days + kMarch0To1970;
  const long long era = floor_divide(shifted, kDaysPer400Years);
  const long long of_era = shifted - era * kDaysPer400Years;
  const long long year_of_era = (of_era - of_era / 1460 + of_era / 36524 - of_era / 146096) / 365;
  const long long day_of_year = of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const long long from_march = (5 * day_of_year + 2) / 153;
  const long long month = (from_march + 2) % 12;
  const long long year = era * 400 + year_of_era + (month < 2 ? 1 : 0);
  if (year - 1900 > INT_MAX || year - 1900 < INT_MIN) return false;
  *broken = {};
  broken->tm_sec = static_cast<int>(second % 60);
  broken->tm_min = static_cast<int>(second / 60 % 60);
  broken->tm_hour = static_cast<int>(second / 3600);
  broken->tm_mday = static_cast<int>(day_of_year - days_before_month(from_march) + 1);
  broken->tm_mon = static_cast<int>(month);
  broken->tm_year = static_cast<int>(year - 1900);
  broken->tm_wday = static_cast<int>((days % 7 + 11) % 7);  // the epoch was a Thursday
  broken->tm_yday = static_cast<int>(days - days_from_epoch(year, 0, 1));
  return true;
}

namespace {

// One request of the system, within the years that it knows.
bool offset_at(long long seconds, long* offset) {
  constexpr long long kFirst = -kSecondsFrom1601To1970 + kSecondsPerDay;
  constexpr long long kLast = 253402300799 - kSecondsPerDay;  // the end of 9999
  seconds = seconds < kFirst ? kFirst : seconds > kLast ? kLast : seconds;
  const FILETIME time = file_time((seconds + kSecondsFrom1601To1970) * kUnitsPerSecond);
  SYSTEMTIME universal, local;
  if (!FileTimeToSystemTime(&time, &universal) ||
      !SystemTimeToTzSpecificLocalTime(nullptr, &universal, &local)) {
    return false;
  }
  const long long there =
      days_from_epoch(local.wYear, local.wMonth - 1, local.wDay) * kSecondsPerDay +
      local.wHour * 3600 + local.wMinute * 60 + local.wSecond;
  *offset = static_cast<long>(there - seconds);
  return true;
}

}  // namespace

ZoneOffset zone_offset(long long seconds) {
  long now = 0, january = 0, july = 0;
  struct tm broken;
  if (!offset_at(seconds, &now) || !break_down(seconds, &broken)) return {};
  const long long year = broken.tm_year + 1900LL;
  if (!offset_at(days_from_epoch(year, 0, 1) * kSecondsPerDay, &january) ||
      !offset_at(days_from_epoch(year, 6, 1) * kSecondsPerDay, &july)) {
    return {now, false};
  }
  return {now, now > (january < july ? january : july)};
}

}  // namespace crt

using namespace crt;

namespace {

struct tm shared_result;  // of gmtime and localtime, as ISO C has it
char shared_text[26];

bool local_time(long long seconds, struct tm* broken) {
  const ZoneOffset zone = zone_offset(seconds);
  if (!break_down(seconds + zone.seconds, broken)) return false;
  broken->tm_isdst = zone.summer;
  return true;
}

// The seconds that the fields make, whatever their ranges, if they are UTC.
long long seconds_of_fields(const struct tm& fields) {
  const long long days =
      days_from_epoch(fields.tm_year + 1900LL, fields.tm_mon, 1) + fields.tm_mday - 1;
  return days * kSecondsPerDay + fields.tm_hour * 3600LL + fields.tm_min * 60LL + fields.tm_sec;
}

// When the zone's clock shows `local`. What it shows twice, or in the other time of the year,
// `isdst` decides; if that is negative, or what it shows never, the zone's offset before counts.
long long universal_time(long long local, int isdst) {
  constexpr long long kHalfYear = 182 * kSecondsPerDay;
  const auto fits = [isdst](const ZoneOffset& zone) {
    return isdst < 0 || (isdst > 0) == zone.summer;
  };
  const ZoneOffset nearby[] = {zone_offset(local - kSecondsPerDay),
                               zone_offset(local + kSecondsPerDay)};
  for (const ZoneOffset& zone : nearby) {
    const ZoneOffset shown = zone_offset(local - zone.seconds);
    if (shown.seconds == zone.seconds && fits(shown)) return local - zone.seconds;
  }
  const ZoneOffset other = zone_offset(local + kHalfYear);
  if (isdst >= 0 && fits(other)) return local - other.seconds;
  return local - nearby[0].seconds;
}

}  // namespace

CRT_API __time64_t _time64(__time64_t* result) {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  const long long seconds = seconds_of(now);
  if (result) *result = seconds;
  return seconds;
}

CRT_API errno_t _gmtime64_s(struct tm* broken, const __time64_t* seconds) {
  if (!broken || !seconds) return errno = EINVAL;
  return break_down(*seconds, broken) ? 0 : errno = EOVERFLOW;
}
CRT_API errno_t _localtime64_s(struct tm* broken, const __time64_t* seconds) {
  if (!broken || !seconds) return errno = EINVAL;
  return local_time(*seconds, broken) ? 0 : errno = EOVERFLOW;
}
CRT_API struct tm* _gmtime64(const __time64_t* seconds) {
  return _gmtime64_s(&shared_result, seconds) == 0 ? &shared_result : nullptr;
}
CRT_API struct tm* _localtime64(const __time64_t* seconds) {
  return _localtime64_s(&shared_result, seconds) == 0 ? &shared_result : nullptr;
}

CRT_API __time64_t _mkgmtime64(struct tm* fields) {
  const long long seconds = seconds_of_fields(*fields);
  if (break_down(seconds, fields)) return seconds;
  errno = EOVERFLOW;
  return -1;
}

CRT_API __time64_t _mktime64(struct tm* fields) {
  const long long seconds = universal_time(seconds_of_fields(*fields), fields->tm_isdst);
  if (local_time(seconds, fields)) return seconds;
  errno = EOVERFLOW;
  return -1;
}

CRT_API double _difftime64(__time64_t later, __time64_t earlier) {
  return static_cast<double>(later) - static_cast<double>(earlier);
}

CRT_API char* asctime(const struct tm* fields) {
  return strftime(shared_text, sizeof shared_text, "%a %b %e %H:%M:%S %Y\n", fields) > 0
             ? shared_text
             : nullptr;
}
CRT_API char* _ctime64(const __time64_t* seconds) {
  const struct tm* const fields = _localtime64(seconds);
  return fields ? asctime(fields) : nullptr;
}
