// Fills and copies of whole blocks, in line. The processor's string
// instructions: as fast as wide moves on long blocks, small, and nothing that
// the compiler could turn into a call.
#pragma once

#include "platform/abi.h"

namespace tarn {

inline void fill_bytes(void* block, std::uint8_t byte, std::uint64_t size) {
  asm volatile("rep stosb" : "+D"(block), "+c"(size) : "a"(byte) : "memory");
}

// Ascending: the destination may overlap the source from below.
inline void copy_bytes(void* destination, const void* source, std::uint64_t size) {
  asm volatile("rep movsb" : "+D"(destination), "+S"(source), "+c"(size) : : "memory");
}

// The same for short blocks, where a string instruction takes longer to start
// than to run. The blocks may not overlap. Result: the byte after the copy.
inline char* append_bytes(char* to, const char* from, std::uint64_t size) {
  constexpr std::uint64_t kLong = 1024;
  if (size >= kLong) {
    copy_bytes(to, from, size);
    return to + size;
  }
  for (; size >= 16; size -= 16, to += 16, from += 16) __builtin_memcpy(to, from, 16);
  if (size & 8) {
    __builtin_memcpy(to, from, 8);
    to += 8;
    from += 8;
  }
  if (size & 4) {
    __builtin_memcpy(to, from, 4);
    to += 4;
    from += 4;
  }
  for (size &= 3; size > 0; --size) *to++ = *from++;
  return to;
}

inline char* append_fill(char* to, char byte, std::uint64_t size) {
  const std::uint64_t eight = static_cast<std::uint8_t>(byte) * 0x0101010101010101u;
  for (; size >= 8; size -= 8, to += 8) __builtin_memcpy(to, &eight, 8);
  for (; size > 0; --size) *to++ = byte;
  return to;
}

}  // namespace tarn
