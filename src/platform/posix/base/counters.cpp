// Clocks that only go forward, and the processor time of the process.

#include <sys/resource.h>
#include <time.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr std::int64_t kMillisecondsPerSecond = 1000;

// Units of 1/`per_second` since the machine started.
std::int64_t steady_units(std::int64_t per_second) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * per_second + now.tv_nsec / (1'000'000'000 / per_second);
}

FileTime duration(const timeval& time) {
  return file_time(time.tv_sec * kUnitsPerSecond + time.tv_usec * 10);
}

// The clock when the first routine of this file's was called is near enough to the
// start of the process only if it is taken early; so it is taken as the program loads.
struct Start {
  FileTime time;
  Start() { GetSystemTimeAsFileTime(&time); }
};
const Start start_of_process;

}  // namespace

Bool QueryPerformanceCounter(std::int64_t* count) {
  *count = steady_units(kUnitsPerSecond);
  return 1;
}

Bool QueryPerformanceFrequency(std::int64_t* per_second) {
  *per_second = kUnitsPerSecond;
  return 1;
}

std::uint32_t GetTickCount() { return static_cast<std::uint32_t>(GetTickCount64()); }

std::uint64_t GetTickCount64() {
  return static_cast<std::uint64_t>(steady_units(kMillisecondsPerSecond));
}

Bool GetProcessTimes(Handle process, FileTime* created, FileTime* ended, FileTime* kernel,
                     FileTime* user) {
  rusage used;
  if (process != GetCurrentProcess()) return fail(kErrorInvalidHandle);
  if (getrusage(RUSAGE_SELF, &used) != 0) return fail_by_errno();
  *created = start_of_process.time;
  *ended = FileTime{};
  *kernel = duration(used.ru_stime);
  *user = duration(used.ru_utime);
  return 1;
}

}  // namespace tarn::platform
