// Blocks at a multiple of a power of two: the address that malloc returned is before each.
#include <malloc.h>
#include <stdlib.h>
#include <string.h>

#include "../crt.h"

namespace {

struct Header {
  void* block;
  size_t size;
};

Header* header_of(void* aligned) { return static_cast<Header*>(aligned) - 1; }

}  // namespace

CRT_API void* _aligned_malloc(size_t size, size_t alignment) {
  if (alignment == 0 || (alignment & (alignment - 1)) != 0) {
    errno = EINVAL;
    return nullptr;
  }
  if (alignment < sizeof(void*)) alignment = sizeof(void*);
  size_t whole;
  if (__builtin_add_overflow(size, alignment + sizeof(Header), &whole)) {
    errno = ENOMEM;
    return nullptr;
  }
  void* const block = malloc(whole);
  if (!block) return nullptr;
  const auto first = reinterpret_cast<uintptr_t>(block) + sizeof(Header) + alignment - 1;
  void* const aligned = reinterpret_cast<void*>(first & ~(alignment - 1));
  *header_of(aligned) = {block, size};
  return aligned;
}

CRT_API void _aligned_free(void* aligned) {
  if (aligned) free(header_of(aligned)->block);
}

CRT_API void* _aligned_realloc(void* aligned, size_t size, size_t alignment) {
  if (!aligned) return _aligned_malloc(size, alignment);
  if (size == 0) {
    _aligned_free(aligned);
    return nullptr;
  }
  void* const moved = _aligned_malloc(size, alignment);
  if (!moved) return nullptr;
  const size_t before = header_of(aligned)->size;
  memcpy(moved, aligned, before < size ? before : size);
  _aligned_free(aligned);
  return moved;
}
