// The heap of builds with the address sanitizer: the sanitizer's own, which knows
// the bounds of every block. Its locks are not held by a suspended thread either.

#include <malloc.h>
#include <stdlib.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/memory/memory.h"

// Of the sanitizer's published interface, for which not every compiler has the
// headers.
extern "C" {
int __sanitizer_get_ownership(const volatile void* address);
const char* __asan_locate_address(void* address, char* name, std::size_t name_size, void** region,
                                  std::size_t* region_size);
}

namespace tarn::platform {
namespace {

constexpr std::uint32_t kGlobalZeroFill = 0x40;

void* allocate(std::uint64_t size, bool zero_fill) {
  const Unsuspended unsuspended;
  void* const block = zero_fill ? calloc(1, size) : malloc(size);
  if (block == nullptr) SetLastError(kErrorNotEnoughMemory);
  return block;
}

bool is_block(void* address) { return __sanitizer_get_ownership(address) != 0; }

}  // namespace

// Its memory comes in many mappings.
bool heap_pages(std::uint64_t*, std::uint64_t*) { return false; }

void* GlobalAlloc(std::uint32_t flags, std::uint64_t size) {
  return allocate(size, (flags & kGlobalZeroFill) != 0);
}

void* GlobalFree(void* block) {
  const Unsuspended unsuspended;
  if (block != nullptr && !is_block(block)) {
    fail(kErrorInvalidHandle);
    return block;
  }
  free(block);
  return nullptr;
}

void* AllocateBlock(std::uint64_t size) { return allocate(size, false); }

void FreeBlock(void* block, std::int32_t error, BlockRefusal* refused) {
  if (GlobalFree(block)) refused(block, error);
}

std::uint64_t GlobalSize(void* block) {
  const Unsuspended unsuspended;
  if (block == nullptr || !is_block(block)) {
    return static_cast<std::uint64_t>(fail(kErrorInvalidHandle));
  }
  return malloc_usable_size(block);
}

bool IsInsideHeapBlock(const void* address) {
  const Unsuspended unsuspended;
  char name[1];
  void* start = nullptr;
  std::size_t size = 0;
  __asan_locate_address(const_cast<void*>(address), name, sizeof name, &start, &size);
  const auto offset =
      reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(start);
  return is_block(start) && offset > 0 && offset < size;
}

}  // namespace tarn::platform
