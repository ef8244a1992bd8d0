#include "blocks.h"

using namespace crt;

// Aligned reads: the block may be shorter than `size` if the byte comes before its end, and a read
// of the 16 bytes that hold one of the block's cannot fault.
CRT_API const void* tarn_memchr(const void* block, int value, size_t size) __asm__("memchr");
CRT_API const void* tarn_memchr(const void* block, int value, size_t size) {
  if (size == 0) return nullptr;
  const size_t before = reinterpret_cast<uintptr_t>(block) % kWidth;
  ConstBytes at = static_cast<ConstBytes>(block) - before;
  const __m128i wanted = _mm_set1_epi8(static_cast<char>(value));
  const auto equal_at = [wanted](ConstBytes bytes) {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(load(bytes), wanted)));
  };
  size_t left;  // from `at`
  if (__builtin_add_overflow(size, before, &left)) left = SIZE_MAX;
  unsigned equal = equal_at(at) >> before << before;
  for (; equal == 0; equal = equal_at(at)) {
    if (left <= kWidth) return nullptr;
    left -= kWidth;
    at += kWidth;
  }
  const auto place = static_cast<size_t>(__builtin_ctz(equal));
  return place < left ? at + place : nullptr;
}
