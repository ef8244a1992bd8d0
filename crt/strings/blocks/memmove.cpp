#include "../short_copy.h"
#include "blocks.h"

using namespace crt;

namespace {

void copy_downward(Bytes to, ConstBytes from, size_t size) {
  const __m128i first = load(from);
  for (size_t left = size; left > kWidth; left -= kWidth) {
    store(to + left - kWidth, load(from + left - kWidth));
  }
  store(to, first);
}

}  // namespace

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
