// The library's heap, with ISO C's errno and a tested product. `free` is the library's
// own, so that its misuse is reported at the program's line.
#include <malloc.h>
#include <stdlib.h>

#include "../crt.h"

extern "C" {
void* suite_malloc(size_t) __asm__("tarn_suite_malloc");
void* suite_realloc(void*, size_t) __asm__("tarn_suite_realloc");

void* malloc(size_t size) {
  void* const block = suite_malloc(size);
  if (!block) errno = ENOMEM;
  return block;
}

void* realloc(void* block, size_t size) {
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
}
