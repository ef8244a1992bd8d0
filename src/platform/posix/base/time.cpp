// Time: the clock, the calendar, and the local time of the host's zone.

#include <errno.h>
#include <limits.h>
#include <sched.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr std::int64_t kSecondsPerDay = 86'400;
constexpr std::int64_t kDaysFrom0000To1601 = 584'694;  // both counted from a 1st of March
constexpr std::int64_t kDaysPer400Years = 146'097;
constexpr std::uint16_t kLastYear = 30'827;  // of a FileTime
constexpr std::uint16_t kFirstDosYear = 1980;
constexpr std::uint16_t kLastDosYear = kFirstDosYear + 127;

struct Date {
  std::int64_t year, month, day;
};

// Counting years from the 1st of March puts the leap day at their end, and the
// days before month m are then (153 m + 2) / 5. `days` since 0000-03-01.
Date date_of(std::int64_t days) {
  const std::int64_t era = days / kDaysPer400Years;
  const std::int64_t day_of_era = days % kDaysPer400Years;
  const std::int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const std::int64_t day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int64_t month = (5 * day_of_year + 2) / 153;  // 0 is March
  const bool next_year = month >= 10;
  return {era * 400 + year_of_era + (next_year ? 1 : 0), next_year ? month - 9 : month + 3,
          day_of_year - (153 * month + 2) / 5 + 1};
}

std::int64_t days_of(const Date& date) {
  const std::int64_t year = date.month <= 2 ? date.year - 1 : date.year;
  const std::int64_t month = (date.month + 9) % 12;
  return year * 365 + year / 4 - year / 100 + year / 400 + (153 * month + 2) / 5 + date.day - 1;
}

// 0 is Sunday; 1601-01-01 was a Monday.
std::uint16_t day_of_week(std::int64_t days_since_1601) {
  return static_cast<std::uint16_t>((days_since_1601 + 1) % 7);
}

// Broken down in the time zone of the environment or the system; false if it cannot be. A change
// of the system's file is seen within a second: to look at it each time would take longer than
// all the rest.
bool to_local(const time_t& when, tm* local) {
  constexpr std::int64_t kOfEnvironment = -1;
  static std::int64_t looked_at = kOfEnvironment;
  timespec now;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  const std::int64_t look = getenv("TZ") ? kOfEnvironment : now.tv_sec;
  const std::int64_t last = __atomic_exchange_n(&looked_at, look, __ATOMIC_RELAXED);
  if (look == kOfEnvironment || look != last) tzset();
  return localtime_r(&when, local) != nullptr;
}

std::uint16_t narrow(std::int64_t value) { return static_cast<std::uint16_t>(value); }

// Seconds since 1601; -1 for an invalid date or time.
std::int64_t seconds_of(const SystemTime& time) {
  if (time.year < 1601 || time.year > kLastYear || time.month < 1 || time.month > 12 ||
      time.day < 1 || time.hour > 23 || time.minute > 59 || time.second > 59 ||
      time.milliseconds > 999) {
    return -1;
  }
  const std::int64_t days = days_of({time.year, time.month, time.day});
  const Date same = date_of(days);
  if (same.month != time.month || same.day != time.day) return -1;  // the month is shorter
  return (days - kDaysFrom0000To1601) * kSecondsPerDay + time.hour * 3600 + time.minute * 60 +
         time.second;
}

}  // namespace

void GetSystemTimeAsFileTime(FileTime* time) {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  *time = file_time((now.tv_sec + kSecondsFrom1601To1970) * kUnitsPerSecond + now.tv_nsec / 100);
}

void GetSystemTimePreciseAsFileTime(FileTime* time) { GetSystemTimeAsFileTime(time); }

Bool FileTimeToSystemTime(const FileTime* time, SystemTime* broken) {
  const std::int64_t units = units_of(*time);
  if (units < 0) return fail(kErrorInvalidParameter);
  const std::int64_t seconds = units / kUnitsPerSecond;
  const std::int64_t days = seconds / kSecondsPerDay;
  const std::int64_t second = seconds % kSecondsPerDay;
  const Date date = date_of(days + kDaysFrom0000To1601);
  *broken = {narrow(date.year),   narrow(date.month),           day_of_week(days),
             narrow(date.day),    narrow(second / 3600),        narrow(second / 60 % 60),
             narrow(second % 60), narrow(units / 10'000 % 1000)};
  return 1;
}

void GetSystemTime(SystemTime* time) {
  FileTime now;
  GetSystemTimeAsFileTime(&now);
  FileTimeToSystemTime(&now, time);
}

Bool SystemTimeToFileTime(const SystemTime* broken, FileTime* time) {
  const std::int64_t seconds = seconds_of(*broken);
  if (seconds < 0) return fail(kErrorInvalidParameter);
  *time = file_time(seconds * kUnitsPerSecond + broken->milliseconds * std::int64_t{10'000});
  return 1;
}

Bool SetSystemTime(const SystemTime* time) {
  const std::int64_t seconds = seconds_of(*time);
  if (seconds < 0) return fail(kErrorInvalidParameter);
  const timespec now{seconds - kSecondsFrom1601To1970, time->milliseconds * 1'000'000L};
  if (clock_settime(CLOCK_REALTIME, &now) == 0) return 1;
  return fail(errno == EPERM ? kErrorPrivilegeNotHeld : windows_code(errno));
}

Bool GetSystemTimeAdjustment(std::uint32_t* adjustment, std::uint32_t* step, Bool* disabled) {
  constexpr std::uint32_t kStep = 156'250;
  *adjustment = kStep;
  *step = kStep;
  *disabled = 1;
  return 1;
}

// A `zone` other than null, with the caller's own rules, is not supported.
Bool SystemTimeToTzSpecificLocalTime(const void* zone, const SystemTime* universal,
                                     SystemTime* local) {
  const std::int64_t seconds = seconds_of(*universal);
  if (zone != nullptr || seconds < 0) return fail(kErrorInvalidParameter);
  const std::uint16_t milliseconds = universal->milliseconds;
  const time_t when = seconds - kSecondsFrom1601To1970;
  tm broken;
  if (!to_local(when, &broken)) return fail(kErrorInvalidParameter);
  *local = {narrow(broken.tm_year + 1900), narrow(broken.tm_mon + 1),
            narrow(broken.tm_wday),        narrow(broken.tm_mday),
            narrow(broken.tm_hour),        narrow(broken.tm_min),
            narrow(broken.tm_sec),         milliseconds};
  return 1;
}

void GetLocalTime(SystemTime* time) {
  SystemTime universal;
  GetSystemTime(&universal);
  if (!SystemTimeToTzSpecificLocalTime(nullptr, &universal, time)) *time = universal;
}

namespace {

// As programs of the system see it: SystemTime, but with a year of 0 it is a day of each
// year, the `day`th (5: the last) `day_of_week` of its month.
struct TimeZone {
  std::int32_t bias;  // in minutes, universal less local time
  char16_t standard_name[32];
  SystemTime standard_begin;
  std::int32_t standard_bias;  // what comes to `bias` then
  char16_t summer_name[32];
  SystemTime summer_begin;
  std::int32_t summer_bias;
};
static_assert(sizeof(TimeZone) == 172);

// When the zone's clocks change, in the local time in force until then.
SystemTime rule_of(time_t change, long offset_before) {
  const time_t shown = change + offset_before;
  tm day;
  gmtime_r(&shown, &day);
  const time_t week_on = shown + 7 * kSecondsPerDay;
  tm next;
  gmtime_r(&week_on, &next);
  const int week = next.tm_mon == day.tm_mon ? (day.tm_mday - 1) / 7 + 1 : 5;
  return {0,
          narrow(day.tm_mon + 1),
          narrow(day.tm_wday),
          narrow(week),
          narrow(day.tm_hour),
          narrow(day.tm_min),
          narrow(day.tm_sec),
          0};
}

void copy_name(const char* name, char16_t (&to)[32]) {
  std::size_t i = 0;
  for (; name && name[i] && i < 31; ++i) to[i] = static_cast<unsigned char>(name[i]);
  to[i] = 0;
}

}  // namespace

// The year from now on is searched for its changes day by day, then each by halving.
std::uint32_t GetTimeZoneInformation(void* zone) {
  enum : std::uint32_t { kNoChanges, kStandard, kSummer, kFailed = 0xFFFFFFFF };
  const time_t now = ::time(nullptr);
  tm here;
  if (!to_local(now, &here)) {
    fail(kErrorInvalidParameter);
    return kFailed;
  }
  TimeZone result{};
  long standard = here.tm_gmtoff, summer = here.tm_gmtoff;
  copy_name(here.tm_zone, here.tm_isdst > 0 ? result.summer_name : result.standard_name);
  bool to_standard = false, to_summer = false;
  tm before = here;
  for (time_t from = now; from < now + 366 * kSecondsPerDay; from += kSecondsPerDay) {
    time_t low = from, high = from + kSecondsPerDay;
    tm after;
    localtime_r(&high, &after);
    if ((after.tm_isdst > 0) != (before.tm_isdst > 0)) {
      while (high - low > 1) {
        const time_t middle = low + (high - low) / 2;
        tm there;
        localtime_r(&middle, &there);
        ((there.tm_isdst > 0) == (after.tm_isdst > 0) ? high : low) = middle;
      }
      const bool begins = after.tm_isdst > 0;
      (begins ? to_summer : to_standard) = true;
      (begins ? summer : standard) = after.tm_gmtoff;
      (begins ? result.summer_begin : result.standard_begin) = rule_of(high, before.tm_gmtoff);
      copy_name(after.tm_zone, begins ? result.summer_name : result.standard_name);
    }
    before = after;
  }
  const bool changes = to_standard && to_summer;
  if (!changes) {
    standard = here.tm_gmtoff;
    result.standard_begin = result.summer_begin = {};
    copy_name(here.tm_zone, result.standard_name);
    copy_name(here.tm_zone, result.summer_name);
  }
  result.bias = static_cast<std::int32_t>(-standard / 60);
  result.summer_bias = changes ? static_cast<std::int32_t>(-(summer - standard) / 60) : 0;
  memcpy(zone, &result, sizeof result);
  return !changes ? kNoChanges : here.tm_isdst > 0 ? kSummer : kStandard;
}

timespec deadline_after(std::uint32_t milliseconds) {
  timespec end;
  clock_gettime(CLOCK_MONOTONIC, &end);
  end.tv_sec += milliseconds / 1000;
  end.tv_nsec += milliseconds % 1000 * 1'000'000L;
  if (end.tv_nsec >= 1'000'000'000) {
    ++end.tv_sec;
    end.tv_nsec -= 1'000'000'000;
  }
  return end;
}

int milliseconds_until(const timespec& deadline) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::int64_t nanoseconds =
      std::int64_t{deadline.tv_sec - now.tv_sec} * 1'000'000'000 + (deadline.tv_nsec - now.tv_nsec);
  const std::int64_t milliseconds = (nanoseconds + 999'999) / 1'000'000;
  return static_cast<int>(milliseconds < 0 ? 0 : milliseconds < INT_MAX ? milliseconds : INT_MAX);
}

Bool FileTimeToLocalFileTime(const FileTime* time, FileTime* local) {
  const time_t now = ::time(nullptr);
  tm broken;
  if (!to_local(now, &broken)) return fail(kErrorInvalidParameter);
  const std::int64_t units = units_of(*time);
  const std::int64_t shifted = units + broken.tm_gmtoff * kUnitsPerSecond;
  if (units < 0 || shifted < 0) return fail(kErrorInvalidParameter);
  *local = file_time(shifted);
  return 1;
}

Bool FileTimeToDosDateTime(const FileTime* time, std::uint16_t* dos_date, std::uint16_t* dos_time) {
  SystemTime broken;
  if (!FileTimeToSystemTime(time, &broken)) return 0;
  if (broken.year < kFirstDosYear || broken.year > kLastDosYear) {
    return fail(kErrorInvalidParameter);
  }
  *dos_date = narrow((broken.year - kFirstDosYear) << 9 | broken.month << 5 | broken.day);
  *dos_time = narrow(broken.hour << 11 | broken.minute << 5 | broken.second / 2);
  return 1;
}

Bool DosDateTimeToFileTime(std::uint16_t dos_date, std::uint16_t dos_time, FileTime* time) {
  const SystemTime broken = {narrow(kFirstDosYear + (dos_date >> 9)),
                             narrow(dos_date >> 5 & 15),
                             0,
                             narrow(dos_date & 31),
                             narrow(dos_time >> 11),
                             narrow(dos_time >> 5 & 63),
                             narrow((dos_time & 31) * 2),
                             0};
  const std::int64_t seconds = seconds_of(broken);
  if (seconds < 0) return fail(kErrorInvalidParameter);
  *time = file_time(seconds * kUnitsPerSecond);
  return 1;
}

void Sleep(std::uint32_t milliseconds) {
  constexpr std::uint32_t kForever = 0xFFFFFFFF;
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  if (milliseconds == kForever) {
    for (;;) pause();
  }
  const timespec end = deadline_after(milliseconds);
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
  }
}

// The host says whether it has switched by its counts alone.
Bool SwitchToThread() {
  rusage before, after;
  getrusage(RUSAGE_THREAD, &before);
  sched_yield();
  getrusage(RUSAGE_THREAD, &after);
  return before.ru_nvcsw != after.ru_nvcsw || before.ru_nivcsw != after.ru_nivcsw;
}

}  // namespace tarn::platform
