// The storage room's front door for the secondary stack: temporary storage of
// sizes known only at run time.
//
// One reservation of address space holds two stacks that grow towards each
// other. The pseudo stack grows down from the top, last in first out, and is
// released by putting its pointer back. The quasi stack grows up from the
// base, and is released all at once. Pages are committed when first needed
// and never given back, so a program pays for what it touches. Reused space
// holds what was left in it.
//
// Sizes are bytes, rounded up to a multiple of 16, so every block is aligned
// to 16 bytes.
//
// Errors: 444, "Insufficient virtual stack (MERLE /VSTACK <MB-value>)", when
// the two stacks would meet, or when the pseudo stack was last given a pointer
// that it refused. The stacks are then as they were before. A page that the
// system cannot supply faults at its first use.
//
// Threads: one at a time; nothing is locked.
//
// The routines of the pseudo stack stand in line here: they are a few
// instructions, less than calls of them. They are "used", so that the forms for
// compiled code and assembly exist too.
#pragma once

#include "process/process_state.h"

namespace tarn {

// The state, for reports; only this room writes it. The pseudo stack's pointer,
// the lowest address in use, is the cell kCellPseudoStack.
//
//   base <= quasi_pointer <= quasi_committed <= pseudo_committed
//        <= the pseudo stack's pointer <= top
struct SecondaryStack {
  std::uint64_t reservation;       // bytes of address space
  std::uint64_t base;              // 0 before initialisation
  std::uint64_t size;              // usable bytes, whole pages of 4,096
  std::uint64_t top;               // base + size
  std::uint64_t pseudo_committed;  // lowest committed address of the pseudo side
  std::uint64_t quasi_pointer;     // next free address
  std::uint64_t quasi_committed;   // end of the quasi side's committed part
  std::int32_t pseudo_failure;     // 1 after a refused pointer
};
extern SecondaryStack secondary_stack;

extern "C" {
// Reserves 8 GiB, or half of that and so on down to 64 MiB, and sizes the stack
// at half of the physical memory at most, less the program's own storage. Tells
// the sibling library whether there is AVX. Part of initialisation. If there is no
// address space at all the process ends in an access violation with the
// system's error code in rax.
TARNAPI void __init_pseudo_stack();

// Makes `bytes`, rounded down to 4,096, the size. At most what was reserved;
// a negative size counts as 0. What the pseudo stack holds is discarded.
TARNAPI void __set_stack_size(std::int64_t bytes);

// ---- Pseudo stack -------------------------------------------------------

// The rare paths of __alloc_pseudo_stack: a new span of pages, or 444.
TARNAPI void* tarn_extend_pseudo_stack(std::uint64_t bytes);

// A block below the last one. A size of 0 or less gives the pointer as it is.
[[gnu::used]] TARNAPI inline void* __alloc_pseudo_stack(std::int64_t size) {
  Slot& pointer = runtime_cell(kCellPseudoStack);
  const std::uint64_t bytes =
      size <= 0 ? 0 : (static_cast<std::uint64_t>(size) + 15) & ~std::uint64_t{15};
  if (secondary_stack.pseudo_failure || bytes > pointer - secondary_stack.pseudo_committed)
      [[unlikely]] {
    return tarn_extend_pseudo_stack(bytes);
  }
  pointer -= bytes;
  return reinterpret_cast<void*>(pointer);
}

// The same with its first `size` bytes set to 0x80, the mark of undefined data.
TARNAPI void* __alloc_pseudo_stack1(std::int64_t size);

// A routine takes the pointer when it begins and gives it back when it ends,
// which releases all that was allocated in between. Only an address from the
// present pointer up to the top is accepted; another one changes nothing, and
// the next allocation raises 444 unless a good one comes first.
[[gnu::used]] TARNAPI inline void* __return_pseudo_stack_ptr() {
  return reinterpret_cast<void*>(runtime_cell(kCellPseudoStack));
}
[[gnu::used]] TARNAPI inline void __set_pseudo_stack_ptr(void* address) {
  const auto wanted = reinterpret_cast<std::uint64_t>(address);
  Slot& pointer = runtime_cell(kCellPseudoStack);
  // The subtraction refuses a null pointer, too.
  if (pointer - 1 < wanted && wanted <= secondary_stack.top) [[likely]] {
    pointer = wanted;
    secondary_stack.pseudo_failure = 0;
  } else {
    secondary_stack.pseudo_failure = 1;
  }
}

// ---- Quasi stack --------------------------------------------------------

// A block above the last one. A size of 0 or less counts as 16.
TARNAPI void* __alloc_quasi_stack(std::int64_t size);
// The same with its first `size` bytes set to blanks; a negative size fills
// nothing.
TARNAPI void* __alloc_quasi_stack_str(std::int64_t size);
// Releases the whole quasi stack.
TARNAPI void __free_quasi_stack();
}

}  // namespace tarn
