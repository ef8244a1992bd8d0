// Sort and search, for compiled C code and the library itself.
//
// Which elements are compared, and in which order, is part of the contract: a
// comparator may count its calls, or be no order at all. It receives the addresses
// of two elements of the array, and its 32-bit result is below, at or above 0.
//
// Threads: qsort uses the secondary stack, so one at a time; the others any.
#pragma once

#include "include/stdlib.h"
#include "platform/abi.h"

namespace tarn {

using Comparator = std::int32_t(TARNAPI*)(const void* left, const void* right);

// Exchanges `size` bytes; none for a size of 0 or less. The two may be the same,
// but not overlap otherwise.
TARNAPI void _swap(void* left, void* right, std::int32_t size);

// The comparator for pointers to common block records (process/process_state.h):
// by name, as strcmpl.
TARNAPI std::int32_t compare(const void* left, const void* right);

}  // namespace tarn
