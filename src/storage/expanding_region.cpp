#include "storage/expanding_region.h"

#include "platform/platform.h"
#include "process/process_state.h"
#include "process/raising.h"
#include "storage/heap.h"

namespace tarn {
namespace {

constexpr std::int64_t kLargestRegion = std::int64_t{1} << 47;  // user address space

// What one fault commits at most.
constexpr std::uint64_t kGrowthPages = 10;

struct RegionRecord {
  RegionRecord* next;
  const char* name;    // the caller's string, not copied
  std::uint64_t low;   // first usable address
  std::uint64_t high;  // first address past the region
};

RegionRecord* expanding_regions;

}  // namespace

void* setup_expanding_region(const char* name, std::int64_t size) {
  if (!name) name = "No name";
  if (size < 0 || size > kLargestRegion) raise_with_text(TARN_ERROR_REGION_VIRTUAL_MEMORY, name);
  const std::uint64_t page = page_size;
  const std::uint64_t bytes = (static_cast<std::uint64_t>(size) + page - 1) / page * page;
  void* const memory = platform::VirtualAlloc(nullptr, bytes + 2 * page, platform::kMemReserve,
                                              platform::kPageNoAccess);
  if (!memory) raise_with_text(TARN_ERROR_REGION_VIRTUAL_MEMORY, name);
  auto* const record = static_cast<RegionRecord*>(operator_new(sizeof(RegionRecord)));
  if (!record) {
    platform::VirtualFree(memory, 0, platform::kMemRelease);
    raise_with_text(TARN_ERROR_REGION_VIRTUAL_MEMORY, name);
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

bool grow_expanding_region(std::uint64_t address) {
  const std::uint64_t page = page_size;
  for (const RegionRecord* region = expanding_regions; region; region = region->next) {
    if (address < region->low || region->high <= address) continue;
    std::uint64_t pages = (region->high - address) / page;
    if (pages > kGrowthPages) pages = kGrowthPages;
    if (platform::VirtualAlloc(reinterpret_cast<void*>(address), pages * page, platform::kMemCommit,
                               platform::kPageReadWrite)) {
      return true;
    }
    raise_with_text(TARN_ERROR_REGION_PHYSICAL_MEMORY, region->name);
  }
  return false;
}

const char* describe_region_overrun(std::uint64_t address, const char** name) {
  const std::uint64_t page = page_size;
  const char* description = nullptr;
  for (const RegionRecord* region = expanding_regions; region; region = region->next) {
    const char* ran_off = nullptr;
    if (region->low - page <= address && address < region->low) {
      ran_off = "Underflow off expanding region %s";
    } else if (region->high <= address && address <= region->high + page) {
      ran_off = "Overflow off expanding region %s";
    }
    if (ran_off) {
      description = ran_off;
      *name = region->name;
    }
  }
  return description;
}

}  // namespace tarn
