// Reads memory that may not be there, by whole pages, so that the bytes before an
// unreadable page are still read. A table read from front to back costs one system call
// for 16 pages. Never faults.
#pragma once

#include "failure/exception_table.h"

namespace tarn {

struct PageReader {
  static constexpr std::uint64_t kPage = 4096;
  static constexpr std::uint64_t kMostBytes = 16 * kPage;
  std::uint64_t start;
  std::uint64_t size;
  std::uint8_t bytes[kMostBytes];

  // Forgets what was read before.
  void reset() { size = 0; }

  // False if not all `count` bytes can be read.
  bool read(std::uint64_t address, void* to, std::uint64_t count) {
    auto* target = static_cast<std::uint8_t*>(to);
    while (count > 0) {
      if (!have(address)) return false;
      std::uint64_t part = size - (address - start);
      if (part > count) part = count;
      __builtin_memcpy(target, bytes + (address - start), part);
      target += part;
      address += part;
      count -= part;
    }
    return true;
  }

  // Moves `*at` after the next NUL. False, with `*at` where the search ended, if none
  // can be read before `limit`.
  bool skip_string(std::uint64_t* at, std::uint64_t limit) {
    while (*at < limit) {
      if (!have(*at)) return false;
      std::uint64_t part = size - (*at - start);
      if (part > limit - *at) part = limit - *at;
      const std::uint64_t length = bytes_before_nul(bytes + (*at - start), part);
      *at += length;
      if (length == part) continue;
      ++*at;
      return true;
    }
    return false;
  }

 private:
  bool have(std::uint64_t address) { return address - start < size || fill(address); }

  // Eight bytes at a time: of a word with a zero byte, the difference has that one's top
  // bit set, which the word itself has not.
  static std::uint64_t bytes_before_nul(const std::uint8_t* from, std::uint64_t count) {
    std::uint64_t at = 0;
    for (std::uint64_t word; at + sizeof word <= count; at += sizeof word) {
      __builtin_memcpy(&word, from + at, sizeof word);
      if (((word - 0x0101010101010101) & ~word & 0x8080808080808080) != 0) break;
    }
    while (at < count && from[at] != 0) ++at;
    return at;
  }

  // The whole page, in which a search may go back.
  bool fill(std::uint64_t address) {
    const bool goes_on = size != 0 && address == start + size;
    start = address - address % kPage;
    const std::uint64_t sizes[] = {goes_on ? kMostBytes : 0, kPage};
    for (const std::uint64_t wanted : sizes) {
      size = wanted;
      std::uint64_t copied = 0;
      if (wanted != 0 &&
          platform::ReadProcessMemory(current_process_handle, reinterpret_cast<const void*>(start),
                                      bytes, size, &copied)) {
        return true;
      }
    }
    size = 0;
    return false;
  }
};

}  // namespace tarn
