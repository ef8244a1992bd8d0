// What the fuzz targets share. An input is in a block of exactly its size, by the fuzzer and by
// replay.cpp alike, so a read outside it is found.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace fuzz {

inline void require(bool condition) {
  if (!condition) __builtin_trap();
}

// The bytes up to the first NUL with it, in a block of exactly their size.
inline std::vector<char> text_of(const std::string& bytes) {
  const std::string text = bytes.c_str();
  return {text.c_str(), text.c_str() + text.size() + 1};
}

// A sound file with changes: groups of two bytes of offset and one of value.
inline std::vector<std::uint8_t> changed(std::vector<std::uint8_t> file, const std::uint8_t* data,
                                         std::size_t size) {
  for (; size >= 3; data += 3, size -= 3) {
    file[(data[0] | std::size_t{data[1]} << 8) % file.size()] = data[2];
  }
  return file;
}

}  // namespace fuzz
