// The overview header of the secondary stack: temporary storage of sizes known
// only at run time. The contract is include/tarn/storage.h.
//
// One reservation of address space holds two stacks that grow towards each
// other. The pseudo stack grows down from the top, last in first out, and is
// released by setting its pointer back. The quasi stack grows up from the
// base, and is released all at once. Pages are committed when first needed
// and never released, so a program pays for what it touches. Reused space
// holds what was left in it.
//
// The routines of the pseudo stack are defined in line here: they are a few
// instructions, less than calls of them. They are "used", so that the forms for
// compiled code exist too.
#pragma once

#include "include/tarn/storage.h"
#include "process/process_state.h"

namespace tarn {

// The state, for reports; only this module writes it. The pseudo stack's
// pointer, the lowest address in use, is the cell kCellPseudoStack.
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

// Reserves 8 GiB, or half of that and so on down to 64 MiB, and sets the size that
// the stack has at the start. Tells the sibling library whether there is AVX. Part
// of initialisation. If there is no address space at all the process ends in an
// access violation with the system's error code in rax.
extern "C" TARNAPI void __init_pseudo_stack();

// ---- Pseudo stack -------------------------------------------------------

// The rare paths of __alloc_pseudo_stack: a new span of pages, or 444.
TARNAPI void* extend_pseudo_stack(std::uint64_t bytes);

[[gnu::used]] TARNAPI inline void* __alloc_pseudo_stack(std::int64_t size) {
  Slot& pointer = runtime_cell(kCellPseudoStack);
  const std::uint64_t bytes =
      size <= 0 ? 0 : (static_cast<std::uint64_t>(size) + 15) & ~std::uint64_t{15};
  if (secondary_stack.pseudo_failure || bytes > pointer - secondary_stack.pseudo_committed)
      [[unlikely]] {
    return extend_pseudo_stack(bytes);
  }
  pointer -= bytes;
  return reinterpret_cast<void*>(pointer);
}

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

}  // namespace tarn
