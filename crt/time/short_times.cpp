// Times of 32 bits. What passes them is EOVERFLOW.
#include <limits.h>
#include <stdlib.h>
#include <sys/timeb.h>
#include <sys/utime.h>
#include <wchar.h>

#include "time.h"

using namespace crt;

namespace {

__time32_t shortened(__time64_t seconds) {
  return seconds >= LONG_MIN && seconds <= LONG_MAX ? static_cast<__time32_t>(seconds)
                                                    : fail_with(EOVERFLOW);
}

// The routine's answer for the longer time.
template <class Result>
Result with_long(Result (*routine)(const __time64_t*), const __time32_t* seconds) {
  const __time64_t longer = seconds ? *seconds : 0;
  return routine(seconds ? &longer : nullptr);
}

}  // namespace

CRT_API __time32_t _time32(__time32_t* result) {
  const __time32_t seconds = shortened(_time64(nullptr));
  if (result) *result = seconds;
  return seconds;
}
CRT_API struct tm* _gmtime32(const __time32_t* seconds) { return with_long(_gmtime64, seconds); }
CRT_API struct tm* _localtime32(const __time32_t* seconds) {
  return with_long(_localtime64, seconds);
}
CRT_API char* _ctime32(const __time32_t* seconds) { return with_long(_ctime64, seconds); }
CRT_API wchar_t* _wctime32(const __time32_t* seconds) { return with_long(_wctime64, seconds); }
CRT_API errno_t _gmtime32_s(struct tm* broken, const __time32_t* seconds) {
  if (!seconds) return errno = EINVAL;
  const __time64_t longer = *seconds;
  return _gmtime64_s(broken, &longer);
}
CRT_API errno_t _localtime32_s(struct tm* broken, const __time32_t* seconds) {
  if (!seconds) return errno = EINVAL;
  const __time64_t longer = *seconds;
  return _localtime64_s(broken, &longer);
}
CRT_API errno_t _ctime32_s(char* to, size_t size, const __time32_t* seconds) {
  const __time64_t longer = seconds ? *seconds : 0;
  return _ctime64_s(to, size, seconds ? &longer : nullptr);
}
CRT_API errno_t _wctime32_s(wchar_t* to, size_t size, const __time32_t* seconds) {
  const __time64_t longer = seconds ? *seconds : 0;
  return _wctime64_s(to, size, seconds ? &longer : nullptr);
}
CRT_API __time32_t _mktime32(struct tm* fields) { return shortened(_mktime64(fields)); }
CRT_API __time32_t _mkgmtime32(struct tm* fields) { return shortened(_mkgmtime64(fields)); }
CRT_API double _difftime32(__time32_t later, __time32_t earlier) {
  return static_cast<double>(later) - static_cast<double>(earlier);
}
CRT_API errno_t _ftime32_s(struct __timeb32* result) {
  if (!result) return errno = EINVAL;
  struct __timeb64 longer;
  _ftime64(&longer);
  *result = {shortened(longer.time), longer.millitm, longer.timezone, longer.dstflag};
  return 0;
}
CRT_API void _ftime32(struct __timeb32* result) { _ftime32_s(result); }
CRT_API int _utime32(const char* path, struct __utimbuf32* times) {
  struct __utimbuf64 longer = {};
  if (times) longer = {times->actime, times->modtime};
  return _utime64(path, times ? &longer : nullptr);
}
CRT_API int _wutime32(const wchar_t* path, struct __utimbuf32* times) {
  struct __utimbuf64 longer = {};
  if (times) longer = {times->actime, times->modtime};
  return _wutime64(path, times ? &longer : nullptr);
}
CRT_API int _futime32(int number, struct __utimbuf32* times) {
  struct __utimbuf64 longer = {};
  if (times) longer = {times->actime, times->modtime};
  return _futime64(number, times ? &longer : nullptr);
}
