// The heap: glibc's, behind the names of the global memory service. The
// system's page services are in pages.cpp.

#include <malloc.h>
#include <stdlib.h>

#include "platform/posix/system.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kGlobalZeroFill = 0x40;

// All heap handles are this one.
char process_heap;

void* allocate(std::uint64_t size, bool zero_fill) {
  void* const block = zero_fill ? calloc(1, size) : malloc(size);
  if (block == nullptr) SetLastError(kErrorNotEnoughMemory);
  return block;
}

}  // namespace

void* GlobalAlloc(std::uint32_t flags, std::uint64_t size) {
  return allocate(size, (flags & kGlobalZeroFill) != 0);
}

void* GlobalFree(void* block) {
  free(block);
  return nullptr;
}

std::uint64_t GlobalSize(void* block) {
  if (block == nullptr) return static_cast<std::uint64_t>(fail(kErrorInvalidHandle));
  return malloc_usable_size(block);
}

Handle GetProcessHeap() { return &process_heap; }

void* HeapAlloc(Handle heap, std::uint32_t flags, std::uint64_t size) {
  if (heap != &process_heap) {
    fail(kErrorInvalidHandle);
    return nullptr;
  }
  return allocate(size, (flags & kHeapZeroMemory) != 0);
}

}  // namespace tarn::platform
