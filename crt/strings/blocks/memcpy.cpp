#include "../short_copy.h"
#include "blocks.h"

using namespace crt;

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
