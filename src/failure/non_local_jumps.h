// Jumps across frames: LABEL@ with JUMP@ for Fortran, setjmp with longjmp for C.
// Both leave the frames in between as they are. Assembly.
//
// Threads: a place belongs to the thread that recorded it.
#pragma once

#include "platform/abi.h"

namespace tarn {

// A place recorded by LABEL@: 256 bytes from the heap, never freed.
struct LabelRecord {
  std::uint64_t return_address, stack_pointer;
  std::uint64_t rbp, rbx, rsi, rdi, r12, r13, r14, r15;
  std::uint8_t xmm[10][16];  // XMM6 to XMM15
  std::uint8_t unused[16];
};
static_assert(sizeof(LabelRecord) == 256);

// A setjmp buffer. `check` is the sum of the three words before it.
struct JumpBuffer {
  std::uint64_t stack_pointer, return_address, pseudo_stack_pointer, check, rbp;
};
static_assert(sizeof(JumpBuffer) == 40);

extern "C" {
// Records the place after the call, stores the record's address in `cell` and
// returns it. Raises 199 if the heap is exhausted. A jump returns from here
// with the result 1.
TARNAPI LabelRecord* LABEL_at(LabelRecord** cell) __asm__("tarn_LABEL");

// Continues at the place, any number of times, as long as its frame lives. The
// record is not tested.
[[noreturn]] TARNAPI void JUMP_at(LabelRecord* const* cell) __asm__("tarn_JUMP");

// 0, or the value of the longjmp that returns here, which may be 0 too. Of the
// registers only rbp and the stack pointer are kept, and the pseudo stack's.
TARNAPI std::int32_t tarn_setjmp(JumpBuffer* buffer);

// Raises 282, "Invalid long jump", if the buffer's check word does not fit.
[[noreturn]] TARNAPI void tarn_longjmp(const JumpBuffer* buffer, std::int32_t value);
}

}  // namespace tarn
