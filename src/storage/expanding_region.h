// Expanding regions: named blocks of address space that a program uses as a
// plain array, while memory is committed where it is touched. The exception
// handler commits pages on the fault; a guard page at each end turns a run off
// the region into a report that names it.
//
// State: the list of regions, newest first. No lock: regions are created and
// removed by one thread at a time, while any number may fault in them.
#pragma once

#include "platform/abi.h"

namespace tarn {

struct RegionRecord {
  RegionRecord* next;
  const char* name;    // the caller's string, not copied
  std::uint64_t low;   // first usable address
  std::uint64_t high;  // first address past the region
};

extern RegionRecord* expanding_regions;

// Reserves `size` bytes, rounded up to whole pages, between two guard pages, and
// commits none: a region of a TiB costs what it touches. `name` (null: "No name")
// must stay valid. A negative size, or one that cannot be reserved, raises 366.
TARNAPI void* setup_expanding_region(const char* name, std::int64_t size);

// mode 0x4000 releases the memory and keeps the address space reserved, 0x8000
// releases both. The region is forgotten in either case. Result: non-zero on
// success; 0 if no region begins at `address`, the mode is another value
// (nothing is changed then), or the platform refuses.
TARNAPI std::int32_t remove_virtual_region(void* address, std::int32_t mode);

}  // namespace tarn
