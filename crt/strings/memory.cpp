// Blocks of bytes, by the processor's 16-byte registers. Reads before or after a
// block stay within the 16 bytes that hold one of its bytes, so they cannot fault.
#include <emmintrin.h>
#include <string.h>

#include "../crt.h"
#include "short_copy.h"

using crt::copy_short;

namespace {

using Bytes = unsigned char*;
using ConstBytes = const unsigned char*;

constexpr size_t kWidth = 16;
constexpr size_t kRepFrom = 2048;  // from here on the processor's own copy is faster

__m128i load(ConstBytes at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); }
void store(Bytes at, __m128i value) { _mm_storeu_si128(reinterpret_cast<__m128i*>(at), value); }

void copy_upward(Bytes to, ConstBytes from, size_t size) {
  const __m128i last = load(from + size - kWidth);
  size_t at = 0;
  for (; at + kWidth < size; at += kWidth) store(to + at, load(from + at));
  store(to + size - kWidth, last);
}

void copy_downward(Bytes to, ConstBytes from, size_t size) {
  const __m128i first = load(from);
  for (size_t left = size; left > kWidth; left -= kWidth) {
    store(to + left - kWidth, load(from + left - kWidth));
  }
  store(to, first);
}

}  // namespace

CRT_API void* memcpy(void* __restrict__ destination, const void* __restrict__ source, size_t size) {
  const Bytes to = static_cast<Bytes>(destination);
  const ConstBytes from = static_cast<ConstBytes>(source);
  if (size < kWidth) {
    copy_short(to, from, size);
  } else if (size < kRepFrom) {
    copy_upward(to, from, size);
  } else {
    void* rep_to = destination;
    const void* rep_from = source;
    __asm__ volatile("rep movsb" : "+D"(rep_to), "+S"(rep_from), "+c"(size) : : "memory");
  }
  return destination;
}

CRT_API void* memmove(void* destination, const void* source, size_t size) {
  const Bytes to = static_cast<Bytes>(destination);
  const ConstBytes from = static_cast<ConstBytes>(source);
  if (size < kWidth) {
    copy_short(to, from, size);
  } else if (static_cast<size_t>(to - from) >= size) {
    if (to + kWidth <= from || to >= from + size) {
      copy_upward(to, from, size);
    } else {
      for (size_t i = 0; i < size; ++i) to[i] = from[i];
    }
  } else {
    copy_downward(to, from, size);
  }
  return destination;
}

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
