// Reads memory that may not be there, piece by piece, each ending with a page,
// so that the bytes before an unreadable page are still read and a table read
// from front to back costs one system call per page. Never faults.
#pragma once

#include "failure/exception_table.h"

namespace tarn {

struct PageReader {
  static constexpr std::uint64_t kPiece = 4096;
  std::uint64_t start;
  std::uint64_t size;
  std::uint8_t bytes[kPiece];

  // Forgets what was read before.
  void reset() { size = 0; }

  // False if not all `count` bytes can be read.
  bool read(std::uint64_t address, void* to, std::uint64_t count) {
    for (std::uint64_t i = 0; i < count; ++i, ++address) {
      if (address - start >= size && !fill(address)) return false;
      static_cast<std::uint8_t*>(to)[i] = bytes[address - start];
    }
    return true;
  }

 private:
  bool fill(std::uint64_t address) {
    std::uint64_t copied = 0;
    start = address;
    size = kPiece - address % kPiece;
    if (platform::ReadProcessMemory(current_process_handle, reinterpret_cast<const void*>(address),
                                    bytes, size, &copied)) {
      return true;
    }
    size = 0;
    return false;
  }
};

}  // namespace tarn
