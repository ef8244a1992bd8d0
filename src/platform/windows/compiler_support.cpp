// The four routines that the compiler calls on its own. Linked into a DLL that
// has no C run-time, and not exported: the library's own memmove and memcmp are
// other routines under other link names.

#include <cstddef>

#include "platform/byte_block.h"

extern "C" {

void* memcpy(void* destination, const void* source, std::size_t size) {
  tarn::copy_bytes(destination, source, size);
  return destination;
}

void* memset(void* destination, int byte, std::size_t size) {
  tarn::fill_bytes(destination, static_cast<std::uint8_t>(byte), size);
  return destination;
}

void* memmove(void* destination, const void* source, std::size_t size) {
  auto* const to = static_cast<std::uint8_t*>(destination);
  const auto* const from = static_cast<const std::uint8_t*>(source);
  if (to <= from || to >= from + size) return memcpy(destination, source, size);
  while (size > 0) {
    --size;
    to[size] = from[size];
  }
  return destination;
}

int memcmp(const void* left, const void* right, std::size_t size) {
  const auto* const a = static_cast<const std::uint8_t*>(left);
  const auto* const b = static_cast<const std::uint8_t*>(right);
  for (std::size_t i = 0; i < size; ++i) {
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  }
  return 0;
}

}  // extern "C"
