// Sort and search, for compiled C code and the library itself.
//
// Which elements are compared, and in which order, is part of the contract: a
// comparator may count its calls, or be no order at all. It receives the addresses
// of two elements of the array, and its 32-bit result is below, at or above 0.
//
// Threads: qsort uses the secondary stack, so one at a time; the others any.
#pragma once

#include "platform/abi.h"

namespace tarn {

using Comparator = std::int32_t(TARNAPI*)(const void* left, const void* right);

// Sorts `count` elements of `size` bytes; not stable. A quicksort whose pivot is
// the middle element, with insertion by neighbouring swaps below 7 elements; it
// neither recurses nor touches the heap. The work list takes 8 bytes an element
// of the secondary stack for the time of the call, 444 where it has no room.
// With any comparator that returns the same result for the same elements the sort
// ends, and passes it nothing outside the array.
TARNAPI void qsort(void* base, std::uint64_t count, std::uint64_t size, Comparator comparator);

// An element that compares equal to the key, found by halving, or null. The key
// comes first in each comparison. The count is taken as a signed 32-bit number.
TARNAPI void* bsearch(const void* key, const void* base, std::uint64_t count, std::uint64_t size,
                      Comparator comparator);

// Exchanges `size` bytes; none for a size of 0 or less. The two may be the same,
// but not overlap otherwise.
TARNAPI void _swap(void* left, void* right, std::int32_t size);

// The comparator for pointers to common block records (process/process_state.h):
// by name, as strcmpl.
TARNAPI std::int32_t compare(const void* left, const void* right);

}  // namespace tarn
