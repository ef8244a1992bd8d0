// The calling convention and the basic types that every module shares.
//
// All exported routines, and all routine pointers they take, use the Microsoft
// x64 convention on both targets, so that one program image runs on either.
// Internal calls use it too: a call between two routines of the same
// convention costs nothing, while each crossing to the host's own convention
// makes the compiler save ten XMM registers.
#pragma once

#include <cstddef>
#include <cstdint>

#ifndef TARN_LIBRARY
#error "the library's sources are compiled with TARN_LIBRARY defined"
#endif
#include "include/tarn/api.h"

namespace tarn {

using Slot = std::uint64_t;

// A routine known only by its address.
using Routine = void(TARNAPI*)();

// The variable arguments of a routine are an array of 8-byte slots, one per
// argument, directly after the last named argument.
#define TARN_SLOTS_BEHIND(slots, last_named)       \
  __builtin_ms_va_list slots##_list;               \
  __builtin_ms_va_start(slots##_list, last_named); \
  const ::tarn::Slot* slots = reinterpret_cast<const ::tarn::Slot*>(slots##_list)

}  // namespace tarn
