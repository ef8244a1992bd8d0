#include "blocks.h"

using namespace crt;

CRT_API int memcmp(const void* left, const void* right, size_t size) {
  ConstBytes a = static_cast<ConstBytes>(left), b = static_cast<ConstBytes>(right);
  for (; size >= kWidth; a += kWidth, b += kWidth, size -= kWidth) {
    const int equal = _mm_movemask_epi8(_mm_cmpeq_epi8(load(a), load(b)));
    if (equal != 0xFFFF) {
      const int at = __builtin_ctz(~static_cast<unsigned>(equal));
      return a[at] - b[at];
    }
  }
  for (; size > 0; ++a, ++b, --size) {
    if (*a != *b) return *a - *b;
  }
  return 0;
}
