// A copy of at most 16 bytes, in line. All is read before anything is written, so the
// blocks may overlap.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace crt {

template <class Word>
inline void copy_ends(unsigned char* to, const unsigned char* from, size_t size) {
  Word first, last;
  __builtin_memcpy(&first, from, sizeof(Word));
  __builtin_memcpy(&last, from + size - sizeof(Word), sizeof(Word));
  __builtin_memcpy(to, &first, sizeof(Word));
  __builtin_memcpy(to + size - sizeof(Word), &last, sizeof(Word));
}

constexpr size_t kShortCopy = 16;

inline void copy_short(unsigned char* to, const unsigned char* from, size_t size) {
  if (size >= 8) {
    copy_ends<uint64_t>(to, from, size);
  } else if (size >= 4) {
    copy_ends<uint32_t>(to, from, size);
  } else if (size >= 2) {
    copy_ends<uint16_t>(to, from, size);
  } else if (size == 1) {
    *to = *from;
  }
}

}  // namespace crt
