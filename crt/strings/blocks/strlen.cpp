#include "blocks.h"

using namespace crt;

// A read of the 16 bytes that hold one of the string's cannot fault.
CRT_API size_t strlen(const char* string) {
  const auto address = reinterpret_cast<uintptr_t>(string);
  const auto* at = reinterpret_cast<const __m128i*>(address & ~uintptr_t{kWidth - 1});
  const __m128i zero = _mm_setzero_si128();
  unsigned ends =
      static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_load_si128(at), zero)));
  ends >>= address % kWidth;
  if (ends) return static_cast<size_t>(__builtin_ctz(ends));
  for (;;) {
    ++at;
    ends = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_load_si128(at), zero)));
    if (ends)
      return reinterpret_cast<uintptr_t>(at) + static_cast<unsigned>(__builtin_ctz(ends)) - address;
  }
}
