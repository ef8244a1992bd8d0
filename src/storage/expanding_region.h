// Expanding regions: named blocks of address space that a program uses as a
// plain array, while memory is committed where it is touched: the exception handler
// calls grow_expanding_region on the fault. Each end has a guard page, so that an
// access beyond it becomes a report that names the region.
//
// State: the list of regions, newest first. No lock: regions are created and
// removed by one thread at a time, while any number may fault in them.
#pragma once

#include "platform/abi.h"

namespace tarn {

// Reserves `size` bytes, rounded up to whole pages, between two guard pages, and
// commits none: a region of a TiB costs what it touches. `name` (null: "No name")
// must stay valid. A negative size, or one that cannot be reserved, raises 366.
TARNAPI void* setup_expanding_region(const char* name, std::int64_t size);

// mode 0x4000 releases the memory and keeps the address space reserved, 0x8000
// releases both. The region is forgotten in either case. Result: non-zero on
// success; 0 if no region begins at `address`, the mode is another value
// (nothing is changed then), or the platform refuses.
TARNAPI std::int32_t remove_virtual_region(void* address, std::int32_t mode);

// ---- For the exception handler --------------------------------------------
// Both take the address of the page that could not be accessed.

// Commits the page and up to nine after it, no further than the region's end. False
// if it is in no region; raises 367 if there is no memory for it. Several threads
// may be here at once.
bool grow_expanding_region(std::uint64_t address);

// The format of the report's heading, with a %s for `*name`, if the access was to a
// guard page or to the page after it; else null, and `*name` is unchanged.
const char* describe_region_overrun(std::uint64_t address, const char** name);

}  // namespace tarn
