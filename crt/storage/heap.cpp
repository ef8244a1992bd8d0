// The library's heap, with ISO C's errno and a tested product.
#include <malloc.h>
#include <stdlib.h>
#include <string.h>

#include "aligned.h"

extern "C" {
void* suite_malloc(size_t) __asm__("tarn_suite_malloc");
void* suite_realloc(void*, size_t) __asm__("tarn_suite_realloc");
}

using namespace crt;

namespace {

void* realloc_listed(void* block, size_t before, size_t size) {
  void* const moved = size > 0 ? malloc(size) : nullptr;
  if (moved) memcpy(moved, block, before < size ? before : size);
  if (moved || size == 0) free(block);
  return moved;
}

}  // namespace

extern "C" {
void* malloc(size_t size) {
  void* const block = suite_malloc(size);
  if (!block) errno = ENOMEM;
  return block;
}

void* realloc(void* block, size_t size) {
  size_t before;
  if (may_be_listed(block) && is_listed(block, &before)) {
    return realloc_listed(block, before, size);
  }
  void* const moved = suite_realloc(block, size);
  if (!moved && size > 0) errno = ENOMEM;
  return moved;
}

void* calloc(size_t count, size_t size) {
  size_t total;
  if (__builtin_mul_overflow(count, size, &total)) {
    errno = ENOMEM;
    return nullptr;
  }
  void* const block = malloc(total);
  if (block) __builtin_memset(block, 0, total);
  return block;
}

size_t _msize(void* block) {
  size_t size;
  if (may_be_listed(block) && is_listed(block, &size)) return size;
  size = block ? HeapSize(GetProcessHeap(), 0, block) : SIZE_MAX;
  if (size == SIZE_MAX) errno = EINVAL;
  return size;
}

// Never larger where it is.
void* _expand(void* block, size_t size) {
  if (block && size <= _msize(block)) return block;
  errno = block ? ENOMEM : EINVAL;
  return nullptr;
}

void* _recalloc(void* block, size_t count, size_t size) {
  size_t total;
  if (__builtin_mul_overflow(count, size, &total)) {
    errno = ENOMEM;
    return nullptr;
  }
  const size_t before = block ? _msize(block) : 0;
  void* const moved = realloc(block, total);
  if (moved && total > before) memset(static_cast<char*>(moved) + before, 0, total - before);
  return moved;
}

int _heapchk(void) { return HeapValidate(GetProcessHeap(), 0, nullptr) ? _HEAPOK : _HEAPBADNODE; }
int _heapmin(void) { return 0; }
}
