#include "tests/support/possessions.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/platform.h"

namespace tarn::test {
namespace {

// Of the system that has it; null on the host.
template <class R>
R* system_routine(const char* name) {
  const platform::Module kernel = platform::GetModuleHandleA("kernel32.dll");
  return kernel ? reinterpret_cast<R*>(platform::GetProcAddress(kernel, name)) : nullptr;
}

std::int64_t count_handles() {
  using Count = TARNAPI std::int32_t(platform::Handle, std::uint32_t*);
  static auto* const system_count = system_routine<Count>("GetProcessHandleCount");
  if (system_count) {
    std::uint32_t count = 0;
    return system_count(platform::GetCurrentProcess(), &count) ? count : 0;
  }
  std::error_code none;
  const std::filesystem::directory_iterator entries("/proc/self/fd", none);
  return std::distance(begin(entries), end(entries));
}

std::int64_t measure_memory() {
  struct Counters {
    std::uint32_t size, faults;
    std::uint64_t peak, resident, quotas[4], committed, peak_committed;
  } counters{sizeof counters, 0, 0, 0, {}, 0, 0};
  using Measure = TARNAPI std::int32_t(platform::Handle, Counters*, std::uint32_t);
  static auto* const system_measure = system_routine<Measure>("K32GetProcessMemoryInfo");
  if (system_measure) {
    system_measure(platform::GetCurrentProcess(), &counters, sizeof counters);
    return static_cast<std::int64_t>(counters.resident);
  }
  std::ifstream rollup("/proc/self/smaps_rollup");
  std::int64_t kilobytes = 0;
  for (std::string word; rollup >> word;) {
    if (word != "Rss:") continue;
    rollup >> kilobytes;
    break;
  }
  return kilobytes * 1024;
}

}  // namespace

Possessions take_stock() {
  const platform::Handle event = platform::CreateEventA(nullptr, 0, 0, nullptr);
  platform::CloseHandle(event);
  return {count_handles(), measure_memory(), reinterpret_cast<std::int64_t>(event)};
}

}  // namespace tarn::test
