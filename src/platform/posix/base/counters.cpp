// Clocks that only go forward, and the processor time and storage of the process.

#include <fcntl.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

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

// The 22nd field of /proc/self/stat is when the process began, in ticks since the machine
// did; the second, a name in parentheses, may hold anything.
FileTime start_of_process() {
  FileTime now{};
  GetSystemTimeAsFileTime(&now);
  timespec since_boot;
  char facts[1024];
  const int file = open("/proc/self/stat", O_RDONLY | O_CLOEXEC);
  const ssize_t length = file < 0 ? 0 : read(file, facts, sizeof facts - 1);
  if (file >= 0) close(file);
  facts[length > 0 ? length : 0] = '\0';
  const char* at = strrchr(facts, ')');
  for (int field = 2; at != nullptr && field < 22; ++field) at = strchr(at + 1, ' ');
  if (at == nullptr || clock_gettime(CLOCK_BOOTTIME, &since_boot) != 0) return now;
  const std::int64_t began = atoll(at) * (kUnitsPerSecond / sysconf(_SC_CLK_TCK));
  const std::int64_t alive = since_boot.tv_sec * kUnitsPerSecond + since_boot.tv_nsec / 100 - began;
  return file_time(units_of(now) - alive);
}

// In units, the same for every call and thread: it is read once, since that takes long and its
// last digits differ.
std::int64_t noted_start() {
  static std::int64_t began;  // 0: not read yet
  std::int64_t known = __atomic_load_n(&began, __ATOMIC_RELAXED);
  if (known != 0) return known;
  const std::int64_t read = units_of(start_of_process());
  return __atomic_compare_exchange_n(&began, &known, read, false, __ATOMIC_RELAXED,
                                     __ATOMIC_RELAXED)
             ? read
             : known;
}

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
  *created = file_time(noted_start());
  *ended = FileTime{};
  *kernel = duration(used.ru_stime);
  *user = duration(used.ru_utime);
  return 1;
}

Bool K32GetProcessMemoryInfo(Handle process, MemoryCounters* counters, std::uint32_t size) {
  constexpr std::uint32_t kShortSize = offsetof(MemoryCounters, private_bytes);
  if (size < kShortSize) return fail(kErrorInsufficientBuffer);
  if (process != GetCurrentProcess()) return fail(kErrorInvalidHandle);
  MemoryCounters found{};
  found.size = size < sizeof found ? kShortSize : sizeof found;
  const struct {
    const char* name;
    std::uint64_t* value;
  } wanted[] = {{"VmHWM:", &found.peak_working_set},
                {"VmRSS:", &found.working_set},
                {"VmData:", &found.private_bytes}};
  FILE* const status = fopen("/proc/self/status", "re");
  if (status == nullptr) return fail_by_errno();
  char line[256];
  while (fgets(line, sizeof line, status) != nullptr) {
    for (const auto& each : wanted) {
      const std::size_t length = strlen(each.name);
      if (strncmp(line, each.name, length) == 0) {
        *each.value = strtoull(line + length, nullptr, 10) * 1024;
      }
    }
  }
  fclose(status);
  rusage used;
  if (getrusage(RUSAGE_SELF, &used) == 0) {
    found.page_faults = static_cast<std::uint32_t>(used.ru_minflt + used.ru_majflt);
  }
  found.page_file = found.peak_page_file = found.private_bytes;
  memcpy(counters, &found, found.size);
  return 1;
}

}  // namespace tarn::platform
