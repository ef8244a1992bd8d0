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

}  // namespace tarn
