// The heaps that programs make for themselves, and the process's. Their blocks are of the
// global memory service; one of a made heap has a header, in the list of its heap, so that
// all can be freed with it. The header's own size is that of two grains: blocks stay
// aligned.

#include <pthread.h>
#include <string.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kGlobalZeroFill = 0x40;
constexpr std::uint32_t kNotSerialized = 0x01, kInPlaceOnly = 0x10;

struct Block {
  struct Heap* heap;
  Block *before, *after;
  std::uint64_t size;
};

struct Heap {
  Heap* next;
  Block* first;
  std::uint64_t room;  // that the blocks may still take
};

Heap process_heap;
Heap* made_heaps;
pthread_mutex_t heaps_lock = PTHREAD_MUTEX_INITIALIZER;

// The routines below: with the lock held.

Heap** link_of(Handle handle) {
  Heap** link = &made_heaps;
  while (*link != nullptr && *link != handle) link = &(*link)->next;
  return link;
}

// The header of a block of this made heap; null, with the last error, if it is none.
Block* header_of(Handle heap, void* block) {
  auto* const header = static_cast<Block*>(block) - 1;
  if (block != nullptr && *link_of(heap) != nullptr && GlobalSize(header) != 0 &&
      header->heap == heap) {
    return header;
  }
  fail(kErrorInvalidParameter);
  return nullptr;
}

void* allocate(Heap* heap, std::uint32_t flags, std::uint64_t size) {
  if (size > heap->room) return null_for(kErrorNotEnoughMemory);
  auto* const block = static_cast<Block*>(
      GlobalAlloc((flags & kHeapZeroMemory) != 0 ? kGlobalZeroFill : 0, size + sizeof(Block)));
  if (block == nullptr) return nullptr;
  *block = {heap, nullptr, heap->first, size};
  if (heap->first != nullptr) heap->first->before = block;
  heap->first = block;
  heap->room -= size;
  return block + 1;
}

void release(Block* block) {
  (block->before != nullptr ? block->before->after : block->heap->first) = block->after;
  if (block->after != nullptr) block->after->before = block->before;
  block->heap->room += block->size;
  block->heap = nullptr;
  GlobalFree(block);
}

constexpr std::uint64_t kNoSize = ~std::uint64_t{0};

std::uint64_t size_of(Handle heap, void* block) {
  if (heap == &process_heap) {
    const std::uint64_t size = block == nullptr ? 0 : GlobalSize(block);
    return size == 0 ? kNoSize : size;
  }
  const Block* const header = header_of(heap, block);
  return header == nullptr ? kNoSize : header->size;
}

}  // namespace

Handle GetProcessHeap() { return &process_heap; }

Handle HeapCreate(std::uint32_t flags, std::uint64_t, std::uint64_t most) {
  if ((flags & ~kNotSerialized) != 0) return null_for(kErrorNotSupported);
  auto* const heap = static_cast<Heap*>(GlobalAlloc(0, sizeof(Heap)));
  if (heap == nullptr) return nullptr;
  const MutexLock lock(heaps_lock);
  *heap = {made_heaps, nullptr, most != 0 ? most : kNoSize / 2};
  made_heaps = heap;
  return heap;
}

Bool HeapDestroy(Handle handle) {
  const MutexLock lock(heaps_lock);
  Heap** const link = link_of(handle);
  Heap* const heap = *link;
  if (heap == nullptr) return fail(kErrorInvalidHandle);
  while (heap->first != nullptr) release(heap->first);
  *link = heap->next;
  GlobalFree(heap);
  return 1;
}

void* HeapAlloc(Handle handle, std::uint32_t flags, std::uint64_t size) {
  if (handle == &process_heap) {
    return GlobalAlloc((flags & kHeapZeroMemory) != 0 ? kGlobalZeroFill : 0, size);
  }
  const MutexLock lock(heaps_lock);
  Heap* const heap = *link_of(handle);
  return heap != nullptr ? allocate(heap, flags, size) : null_for(kErrorInvalidHandle);
}

Bool HeapFree(Handle handle, std::uint32_t, void* block) {
  if (block == nullptr) return 1;
  if (handle == &process_heap) {
    return GlobalFree(block) == nullptr ? 1 : fail(kErrorInvalidParameter);
  }
  const MutexLock lock(heaps_lock);
  Block* const header = header_of(handle, block);
  if (header == nullptr) return 0;
  release(header);
  return 1;
}

std::uint64_t HeapSize(Handle handle, std::uint32_t, void* block) {
  const MutexLock lock(heaps_lock);
  const std::uint64_t size = size_of(handle, block);
  if (size == kNoSize) fail(kErrorInvalidParameter);
  return size;
}

void* HeapReAlloc(Handle handle, std::uint32_t flags, void* block, std::uint64_t size) {
  const std::uint64_t before = HeapSize(handle, 0, block);
  if (before == kNoSize) return nullptr;
  if ((flags & kInPlaceOnly) != 0) {
    return size <= before ? block : null_for(kErrorNotEnoughMemory);
  }
  void* const moved = HeapAlloc(handle, flags, size);
  if (moved == nullptr) return nullptr;
  memcpy(moved, block, before < size ? before : size);
  HeapFree(handle, 0, block);
  return moved;
}

Bool HeapValidate(Handle handle, std::uint32_t, void* block) {
  const MutexLock lock(heaps_lock);
  if (block != nullptr) return size_of(handle, block) != kNoSize;
  return handle == &process_heap || *link_of(handle) != nullptr;
}

// Memory that is not in use belongs to no heap.
std::uint64_t HeapCompact(Handle handle, std::uint32_t) {
  SetLastError(HeapValidate(handle, 0, nullptr) ? 0 : kErrorInvalidHandle);
  return 0;
}

void* LocalAlloc(std::uint32_t flags, std::uint64_t size) { return GlobalAlloc(flags, size); }

void* LocalFree(void* block) { return GlobalFree(block); }

}  // namespace tarn::platform
