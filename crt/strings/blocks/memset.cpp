#include "blocks.h"

using namespace crt;

CRT_API void* memset(void* destination, int value, size_t size) {
  const Bytes to = static_cast<Bytes>(destination);
  if (size < kWidth) {
    for (size_t i = 0; i < size; ++i) {
      to[i] = static_cast<unsigned char>(value);
      __asm__ volatile("" : : : "memory");
    }
  } else if (size < kRepFrom) {
    const __m128i bytes = _mm_set1_epi8(static_cast<char>(value));
    for (size_t at = 0; at + kWidth < size; at += kWidth) store(to + at, bytes);
    store(to + size - kWidth, bytes);
  } else {
    void* rep_to = destination;
    __asm__ volatile("rep stosb" : "+D"(rep_to), "+c"(size) : "a"(value) : "memory");
  }
  return destination;
}
