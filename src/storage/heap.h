// The storage room's front door for the heap: the malloc family, Fortran's
// ALLOCATE, and the list that remembers the lengths of arrays of objects with
// destructors.
//
// There is no heap manager here and no header around a block: every routine is
// a thin shape over the platform's memory service, which knows each block's
// size. So blocks of malloc, operator new, LockStorage and the rest may be
// given back by any routine of the family. Blocks are aligned to 16 bytes.
//
// No pointer is checked here, but the memory service looks at what is given back:
// what it refuses raises 375 for the inside of a block, else 377, or 376 from
// operator delete. The host's service knows for certain, Windows' as far as it
// notices.
//
// State: the new handler and the array list, unlocked. The allocators
// themselves may be called on any thread.
#pragma once

#include "platform/abi.h"

namespace tarn {

// "Run out of heap space", for whoever lacks storage or a thing of the system's.
inline constexpr std::int32_t kErrorHeapExhausted = 199;

// ---- C ------------------------------------------------------------------
// Null when there is no storage; nothing is reported. Sizes are in bytes. A
// size of 0 gives a block that may be given back.

TARNAPI void* malloc(std::uint64_t size);
TARNAPI void free(void* block);  // null: nothing happens

// A zeroed block of count * size bytes. A product beyond 64 bits is not
// detected: the block then has the product's low 64 bits.
TARNAPI void* calloc(std::uint64_t count, std::uint64_t size);

// A new block with as much of the old one's contents as fits, the old one given
// back: the block always moves. Null and the old block untouched if there is
// no storage. A null block: malloc. A size of 0: free, and null.
TARNAPI void* realloc(void* block, std::uint64_t size);

// malloc for this library's own tables. Raises 199, "Run out of heap space",
// instead of returning null; so does a negative size.
TARNAPI void* vmalloc(std::int32_t size);

// ---- C++ ----------------------------------------------------------------

// A size of 0 counts as 1. Without storage the new handler, if there is one,
// is called once and the request repeated once; the result may be null.
TARNAPI void* operator_new(std::uint64_t size);
TARNAPI void operator_delete(void* block);

using NewHandler = void(TARNAPI*)();
// Result: the handler before; null at the start.
TARNAPI NewHandler set_new_handler(NewHandler handler);

// ---- Fortran ------------------------------------------------------------

// malloc and free under further names.
TARNAPI void* LockStorage(std::uint64_t size);
TARNAPI void* LockStorageChar(std::uint64_t size);
TARNAPI void UnlockStorage(void* block);

// The ALLOCATE statement: `size` bytes, a negative size counting as 0, all
// zero. Even 0 bytes give a block of their own. `already` not 0 tells that the
// object is allocated. Failures give null and their number in `*status`, which
// success leaves alone; with a null `status` they are raised:
//   1  no storage          raises 408
//   2  already allocated   raises 432
TARNAPI void* ALLOCATE$(std::int64_t size, std::int32_t* status, std::int64_t already);

// ---- Arrays of objects with destructors ----------------------------------

extern "C" {
// Remembers that the array at `address` has total_bytes / element_size elements
// (32-bit arithmetic), in place of what was known of that address. Raises 311
// for an element size of 0, which gives no length, and 199 without storage.
TARNAPI void __add_array_destruct_info(std::int32_t element_size, std::int32_t total_bytes,
                                       void* address);

// Forgets the array and tells what was known: rax = its end address, rcx = the
// count, rdx = the element size. Raises 311 if nothing is known. Assembly.
TARNAPI void* __get_destruct_array_info(void* address);
}

}  // namespace tarn
