// Blocks at a multiple of a power of two: the address that malloc returned is before each.
// Those of aligned_alloc are listed too, since free and realloc take them.
#include "aligned.h"

#include <malloc.h>
#include <stdlib.h>
#include <string.h>

extern "C" void* aligned_alloc(size_t alignment, size_t size);

using namespace crt;

namespace {

// The byte at `offset` of the block is the one that is aligned.
void* allocate(size_t size, size_t alignment, size_t offset = 0) {
  if (alignment == 0 || (alignment & (alignment - 1)) != 0 || (offset != 0 && offset >= size)) {
    errno = EINVAL;
    return nullptr;
  }
  if (alignment < kAlignmentOfMalloc) alignment = kAlignmentOfMalloc;
  size_t whole;
  if (__builtin_add_overflow(size, alignment + sizeof(AlignedHeader), &whole)) {
    errno = ENOMEM;
    return nullptr;
  }
  void* const block = malloc(whole);
  if (!block) return nullptr;
  const auto first =
      reinterpret_cast<uintptr_t>(block) + sizeof(AlignedHeader) + offset + alignment - 1;
  void* const aligned = reinterpret_cast<void*>((first & ~(alignment - 1)) - offset);
  *header_of(aligned) = {block, size, nullptr, nullptr};
  return aligned;
}

}  // namespace

CRT_API void* aligned_alloc(size_t alignment, size_t size) {
  void* const aligned = allocate(size, alignment);
  if (aligned) list_block(aligned);
  return aligned;
}

CRT_API void* _aligned_offset_malloc(size_t size, size_t alignment, size_t offset) {
  return allocate(size, alignment, offset);
}

CRT_API void _aligned_free(void* aligned) {
  if (aligned) free(header_of(aligned)->block);
}

CRT_API void* _aligned_offset_realloc(void* aligned, size_t size, size_t alignment, size_t offset) {
  if (!aligned) return allocate(size, alignment, offset);
  if (size == 0) {
    _aligned_free(aligned);
    return nullptr;
  }
  void* const moved = allocate(size, alignment, offset);
  if (!moved) return nullptr;
  const size_t before = header_of(aligned)->size;
  memcpy(moved, aligned, before < size ? before : size);
  _aligned_free(aligned);
  return moved;
}
CRT_API void* _aligned_offset_recalloc(void* aligned, size_t count, size_t size, size_t alignment,
                                       size_t offset) {
  size_t total;
  if (__builtin_mul_overflow(count, size, &total)) {
    errno = ENOMEM;
    return nullptr;
  }
  const size_t before = aligned ? header_of(aligned)->size : 0;
  void* const moved = _aligned_offset_realloc(aligned, total, alignment, offset);
  if (moved && total > before) memset(static_cast<char*>(moved) + before, 0, total - before);
  return moved;
}
CRT_API void* _aligned_malloc(size_t size, size_t alignment) { return allocate(size, alignment); }
CRT_API void* _aligned_realloc(void* aligned, size_t size, size_t alignment) {
  return _aligned_offset_realloc(aligned, size, alignment, 0);
}
CRT_API void* _aligned_recalloc(void* aligned, size_t count, size_t size, size_t alignment) {
  return _aligned_offset_recalloc(aligned, count, size, alignment, 0);
}
CRT_API size_t _aligned_msize(void* aligned, size_t, size_t) {
  if (aligned) return header_of(aligned)->size;
  errno = EINVAL;
  return SIZE_MAX;
}
