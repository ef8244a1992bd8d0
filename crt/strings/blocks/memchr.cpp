#include "blocks.h"

using namespace crt;

CRT_API const void* tarn_memchr(const void* block, int value, size_t size) __asm__("memchr");
CRT_API const void* tarn_memchr(const void* block, int value, size_t size) {
  ConstBytes at = static_cast<ConstBytes>(block);
  const unsigned char wanted = static_cast<unsigned char>(value);
  const __m128i bytes = _mm_set1_epi8(static_cast<char>(value));
  for (; size >= kWidth; at += kWidth, size -= kWidth) {
    const int equal = _mm_movemask_epi8(_mm_cmpeq_epi8(load(at), bytes));
    if (equal) return at + __builtin_ctz(static_cast<unsigned>(equal));
  }
  for (; size > 0; ++at, --size) {
    if (*at == wanted) return at;
  }
  return nullptr;
}
