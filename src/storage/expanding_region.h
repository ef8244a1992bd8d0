// Expanding regions: named blocks of address space that a program uses as a
// plain array, while memory is committed where it is touched: the exception handler
// calls grow_expanding_region on the fault. Each end has a guard page, so that an
// access beyond it becomes a report that names the region. The contract is
// include/tarn/traps.h; here is what the exception handler uses.
//
// State: the list of regions, newest first. No lock: regions are created and
// removed by one thread at a time, while any number may fault in them.
#pragma once

#include "include/tarn/traps.h"
#include "platform/abi.h"

namespace tarn {

// Both take the address of the page that could not be accessed.

// Commits the page and up to nine after it, no further than the region's end. False
// if it is in no region; raises 367 if there is no memory for it. Several threads
// may be here at once.
bool grow_expanding_region(std::uint64_t address);

// The format of the report's heading, with a %s for `*name`, if the access was to a
// guard page or to the page after it; else null, and `*name` is unchanged.
const char* describe_region_overrun(std::uint64_t address, const char** name);

}  // namespace tarn
