// Calendar arithmetic: the days of the proleptic Gregorian calendar, and the zone.
#pragma once

#include <time.h>

#include "../crt.h"

namespace crt {

constexpr long long kSecondsPerDay = 86400;
constexpr long long kUnitsPerSecond = 10000000;  // of a FILETIME
constexpr long long kSecondsFrom1601To1970 = 11644473600;

inline long long units_of(const FILETIME& time) {
  return static_cast<long long>(static_cast<unsigned long long>(time.dwHighDateTime) << 32 |
                                time.dwLowDateTime);
}
inline FILETIME file_time(long long units) {
  return {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
}
inline long long seconds_of(const FILETIME& time) {
  return units_of(time) / kUnitsPerSecond - kSecondsFrom1601To1970;
}

// Days from 1970-01-01 to a day; `month` counts from 0 and may be any number.
long long days_from_epoch(long long year, long long month, long long day);

// Breaks down seconds since the epoch. False if the year does not fit.
bool break_down(long long seconds, struct tm* broken);

// The zone's distance from UTC in seconds at that time, east positive, and whether it is
// more than the zone's smallest in that year.
struct ZoneOffset {
  long seconds;
  bool summer;
};
ZoneOffset zone_offset(long long seconds);

}  // namespace crt
