// Blocks of bytes, by the processor's 16-byte registers. Each routine is a file of its own, as
// programs may have one of these names for themselves and use the others.
#pragma once

#include <emmintrin.h>
#include <string.h>

#include "../../crt.h"

namespace crt {

using Bytes = unsigned char*;
using ConstBytes = const unsigned char*;

constexpr size_t kWidth = 16;
constexpr size_t kRepFrom = 2048;  // from here on the processor's own copy is faster

inline __m128i load(ConstBytes at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); }
inline void store(Bytes at, __m128i value) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(at), value);
}

// At least 16 bytes; the blocks may overlap if `to` is kWidth or more below `from`.
inline void copy_upward(Bytes to, ConstBytes from, size_t size) {
  const __m128i last = load(from + size - kWidth);
  size_t at = 0;
  for (; at + kWidth < size; at += kWidth) store(to + at, load(from + at));
  store(to + size - kWidth, last);
}

}  // namespace crt
