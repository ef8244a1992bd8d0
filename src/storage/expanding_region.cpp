#include "storage/expanding_region.h"

#include "platform/platform.h"
#include "process/process_state.h"
#include "process/raising.h"
#include "storage/heap.h"

namespace tarn {
namespace {

constexpr std::int64_t kErrorNoVirtualMemory = 366;
constexpr std::int64_t kLargestRegion = std::int64_t{1} << 47;  // user address space

}  // namespace

RegionRecord* expanding_regions;

void* setup_expanding_region(const char* name, std::int64_t size) {
  if (!name) name = "No name";
  if (size < 0 || size > kLargestRegion) raise_with_text(kErrorNoVirtualMemory, name);
  const std::uint64_t page = page_size;
  const std::uint64_t bytes = (static_cast<std::uint64_t>(size) + page - 1) / page * page;
  void* const memory = platform::VirtualAlloc(nullptr, bytes + 2 * page, platform::kMemReserve,
                                              platform::kPageNoAccess);
  if (!memory) raise_with_text(kErrorNoVirtualMemory, name);
  auto* const record = static_cast<RegionRecord*>(operator_new(sizeof(RegionRecord)));
  if (!record) {
    platform::VirtualFree(memory, 0, platform::kMemRelease);
    raise_with_text(kErrorNoVirtualMemory, name);
  }
  const std::uint64_t low = reinterpret_cast<std::uint64_t>(memory) + page;
  *record = {expanding_regions, name, low, low + bytes};
  expanding_regions = record;
  return reinterpret_cast<void*>(low);
}

std::int32_t remove_virtual_region(void* address, std::int32_t mode) {
  const auto low = reinterpret_cast<std::uint64_t>(address);
  const auto type = static_cast<std::uint32_t>(mode);
  RegionRecord** link = &expanding_regions;
  while (*link && (*link)->low != low) link = &(*link)->next;
  RegionRecord* const record = *link;
  if (!record || (type != platform::kMemDecommit && type != platform::kMemRelease)) return 0;
  std::int32_t done = platform::VirtualFree(address, record->high - low, platform::kMemDecommit);
  if (type == platform::kMemRelease) {
    done =
        platform::VirtualFree(reinterpret_cast<void*>(low - page_size), 0, platform::kMemRelease);
  }
  *link = record->next;
  operator_delete(record);
  return done;
}

}  // namespace tarn
