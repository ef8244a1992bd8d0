#include "tests/cases/own_routines.h"

#include <cstdint>
#include <cstdio>

#include "platform/platform.h"

namespace tarn::cases {
namespace {

TARNAPI std::int32_t rising(const std::int32_t* left, const std::int32_t* right) {
  return (*left > *right) - (*left < *right);
}

TARNAPI std::int32_t by_byte(const unsigned char* left, const unsigned char* right) {
  return *left - *right;
}
TARNAPI std::int32_t above(const void*, const void*) { return 1; }
TARNAPI std::int32_t below(const void*, const void*) { return -1; }

// The bytes become the whole file; 1, or 0 on failure.
TARNAPI std::int32_t write_file(const char* path, const char* bytes, std::uint64_t size) {
  std::FILE* const file = std::fopen(path, "wb");
  if (!file) return 0;
  const bool whole = std::fwrite(bytes, 1, size, file) == size;
  return std::fclose(file) == 0 && whole;
}

// What of the file has room; how long it is, or -1.
TARNAPI std::int64_t file_bytes(const char* path, char* bytes, std::uint64_t room) {
  std::FILE* const file = std::fopen(path, "rb");
  if (!file) return -1;
  auto size = static_cast<std::int64_t>(std::fread(bytes, 1, room, file));
  while (std::fgetc(file) != EOF) ++size;
  std::fclose(file);
  return size;
}

TARNAPI std::int32_t remove_file(const char* path) { return std::remove(path) == 0; }

// When the file was written, in seconds of universal time since 1970.
TARNAPI std::int64_t written(const char* path) {
  platform::FindData data{};
  platform::FindClose(platform::FindFirstFileA(path, &data));
  const std::uint64_t units = std::uint64_t{data.written.high} << 32 | data.written.low;
  return static_cast<std::int64_t>(units / 10'000'000) - 11'644'473'600;
}

// For what a callback or a variable holds: the argument itself.
TARNAPI std::uint64_t same(std::uint64_t value) { return value; }

}  // namespace

void* find_own_routine(const std::string& name) {
  static const struct {
    const char* name;
    void* routine;
  } routines[] = {
      {"rising", reinterpret_cast<void*>(&rising)},
      {"by_byte", reinterpret_cast<void*>(&by_byte)},
      {"above", reinterpret_cast<void*>(&above)},
      {"below", reinterpret_cast<void*>(&below)},
      {"written", reinterpret_cast<void*>(&written)},
      {"write_file", reinterpret_cast<void*>(&write_file)},
      {"file_bytes", reinterpret_cast<void*>(&file_bytes)},
      {"remove_file", reinterpret_cast<void*>(&remove_file)},
      {"same", reinterpret_cast<void*>(&same)},
  };
  for (const auto& each : routines) {
    if (name == each.name) return each.routine;
  }
  return nullptr;
}

}  // namespace tarn::cases
