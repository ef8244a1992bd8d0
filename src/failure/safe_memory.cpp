#include "failure/safe_memory.h"

#include "failure/exception_table.h"

namespace tarn {
namespace {

constexpr std::uint8_t kUnreadable = 0xF0;

void fill(void* destination, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i)
    static_cast<std::uint8_t*>(destination)[i] = kUnreadable;
}

}  // namespace

void safe_memory_read(std::uint64_t source, void* destination, std::uint32_t count) {
  fill(destination, count);
  std::uint64_t copied = 0;
  const bool whole =
      platform::ReadProcessMemory(current_process_handle, reinterpret_cast<const void*>(source),
                                  destination, count, &copied) != 0;
  if (!whole) fill(destination, count);  // a system may have stored a part
}

std::uint32_t safe_core1(std::uint64_t address) {
  std::uint32_t value = 0;
  safe_memory_read(address, &value, 1);
  return value;
}

std::uint32_t safe_core4(std::uint64_t address) {
  std::uint32_t value;
  safe_memory_read(address, &value, sizeof value);
  return value;
}

std::uint64_t safe_core8(std::uint64_t address) {
  std::uint64_t value;
  safe_memory_read(address, &value, sizeof value);
  return value;
}

}  // namespace tarn
