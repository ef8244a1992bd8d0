#include <cpuid.h>

#include "platform/windows/system.h"

namespace tarn::platform {

static_assert(sizeof(MemoryStatus) == sizeof(MEMORYSTATUSEX));
static_assert(sizeof(SystemInfo) == sizeof(SYSTEM_INFO));

void* AllocateBlock(std::uint64_t size) { return ::GlobalAlloc(0, size); }

void* GlobalFree(void* block) { return ::GlobalFree(block); }

void FreeBlock(void* block, std::int32_t error, BlockRefusal* refused) {
  if (::GlobalFree(block)) refused(block, error);
}

std::uint64_t GlobalSize(void* block) { return ::GlobalSize(block); }

bool IsInsideHeapBlock(const void* address) {
  const HANDLE heap = ::GetProcessHeap();
  if (!::HeapLock(heap)) return false;
  PROCESS_HEAP_ENTRY entry = {};
  bool inside = false;
  while (!inside && ::HeapWalk(heap, &entry)) {
    const auto offset =
        reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(entry.lpData);
    inside = (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 && offset > 0 && offset < entry.cbData;
  }
  ::HeapUnlock(heap);
  return inside;
}

Handle GetProcessHeap() { return ::GetProcessHeap(); }

void* HeapAlloc(Handle heap, std::uint32_t flags, std::uint64_t size) {
  return ::HeapAlloc(heap, flags, size);
}

void* VirtualAlloc(void* address, std::uint64_t size, std::uint32_t type,
                   std::uint32_t protection) {
  return ::VirtualAlloc(address, size, type, protection);
}

Bool VirtualFree(void* address, std::uint64_t size, std::uint32_t type) {
  return ::VirtualFree(address, size, type);
}

Bool VirtualProtect(void* address, std::uint64_t size, std::uint32_t protection,
                    std::uint32_t* old_protection) {
  DWORD old = 0;
  const Bool done = ::VirtualProtect(address, size, protection, &old);
  *old_protection = old;
  return done;
}

Bool GlobalMemoryStatusEx(MemoryStatus* status) {
  return ::GlobalMemoryStatusEx(reinterpret_cast<MEMORYSTATUSEX*>(status));
}

ProcessorLeaf processor_leaf(std::uint32_t leaf) {
  ProcessorLeaf found;
  __cpuid_count(leaf, 0, found.eax, found.ebx, found.ecx, found.edx);
  return found;
}

void GetSystemInfo(SystemInfo* info) { ::GetSystemInfo(reinterpret_cast<SYSTEM_INFO*>(info)); }

}  // namespace tarn::platform
