// Clocks.
#include "time.h"

#include <stdlib.h>
#include <sys/timeb.h>

using namespace crt;

namespace {

FILETIME now() {
  FILETIME time;
  GetSystemTimeAsFileTime(&time);
  return time;
}

// When the image's constructors ran: near enough to the start of the process.
long long steady() {
  LARGE_INTEGER count;
  QueryPerformanceCounter(&count);
  return count.QuadPart;
}
const long long start = steady();

}  // namespace

extern "C" int timespec_get(struct timespec* result, int base) {
  if (base != 1) return 0;  // TIME_UTC
  FILETIME time;
  GetSystemTimePreciseAsFileTime(&time);
  const long long units = units_of(time);
  result->tv_sec = units / kUnitsPerSecond - kSecondsFrom1601To1970;
  result->tv_nsec = static_cast<long>(units % kUnitsPerSecond * 100);
  return base;
}

// Time that has passed, as on Windows; not the processor's.
CRT_API clock_t clock(void) {
  LARGE_INTEGER per_second;
  QueryPerformanceFrequency(&per_second);
  return static_cast<clock_t>((steady() - start) * CLOCKS_PER_SEC / per_second.QuadPart);
}

CRT_API errno_t _ftime64_s(struct __timeb64* result) {
  if (!result) return errno = EINVAL;
  const long long units = units_of(now());
  const ZoneOffset zone = zone_offset(seconds_of(now()));
  result->time = units / kUnitsPerSecond - kSecondsFrom1601To1970;
  result->millitm = static_cast<unsigned short>(units / 10000 % 1000);
  result->timezone = static_cast<short>(-(zone.seconds - (zone.summer ? 3600 : 0)) / 60);
  result->dstflag = zone.summer;
  return 0;
}
CRT_API void _ftime64(struct __timeb64* result) { _ftime64_s(result); }
