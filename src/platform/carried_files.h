// What a standalone program is: a copy of the runner, and after its end, at a multiple of
// 4096, the files that it carries:
//
//   64 bits         their number, at most kMostCarried; the first is the program
//   CarriedEntry    of each: name, begin and size
//   the files
//
// The runner's own record says where they are. tarncc finds it in the runner's file, where
// there is one that is empty, and fills it in in the copy.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn::platform {

inline constexpr char kCarriedMark[] = "tarnlib carries\n";  // without its NUL
inline constexpr std::uint64_t kCarriedUnit = 4096;
inline constexpr std::uint64_t kMostCarried = 64;

struct CarriedRecord {
  char mark[sizeof kCarriedMark - 1];
  std::uint64_t begin;  // in the file
  std::uint64_t size;   // 0 in the runner itself
  std::uint64_t sum;    // carried_sum of all of it
};

// As it is in the runner.
constexpr CarriedRecord empty_carried_record() {
  CarriedRecord record{};
  for (std::size_t i = 0; i < sizeof record.mark; ++i) record.mark[i] = kCarriedMark[i];
  return record;
}

struct CarriedEntry {
  char name[240];             // with its NUL, without a folder
  std::uint64_t begin, size;  // from the first byte after the runner
};

// Shows damage, not malice.
inline std::uint64_t carried_sum(const std::uint8_t* bytes, std::uint64_t size) {
  constexpr std::uint64_t kPrime = 0x100000001B3;
  std::uint64_t sum = size;
  for (std::uint64_t at = 0; at < size; at += sizeof sum) {
    std::uint64_t word = 0;
    __builtin_memcpy(&word, bytes + at, size - at < sizeof word ? size - at : sizeof word);
    sum = (sum ^ word) * kPrime;
    sum ^= sum >> 29;  // the product's high bits reach its low ones
  }
  return sum;
}

}  // namespace tarn::platform
