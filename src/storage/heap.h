// The overview header of the heap: the malloc family, Fortran's ALLOCATE, and the
// list that records the lengths of arrays of objects with destructors. The
// contracts are include/stdlib.h and include/tarn/storage.h.
//
// There is no heap manager here and no header around a block: every routine is
// a thin layer over the platform's memory service, which knows each block's
// size. So blocks of malloc, operator new, LockStorage and the rest may be
// freed by any routine of the family.
//
// No pointer is checked here, but the memory service examines what is freed:
// what it refuses raises 375 for the inside of a block, else 377, or 376 from
// operator delete. The host's service detects every such pointer, that of
// Windows not all.
//
// State: the new handler and the array list, unlocked.
#pragma once

#include "include/stdlib.h"
#include "include/string.h"
#include "include/tarn/storage.h"
#include "platform/abi.h"

namespace tarn {

// A size of 0 counts as 1. Without storage the new handler, if there is one,
// is called once and the request repeated once; the result may be null.
TARNAPI void* operator_new(std::uint64_t size);
TARNAPI void operator_delete(void* block);

}  // namespace tarn
