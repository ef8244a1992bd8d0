// A frame whose unwind data names the frame of a context record as its caller:
// an unwinder that starts inside it goes on from there.

#include "platform/assembly.h"
#include "platform/posix/faults/context_offsets.h"

// DWARF: the record's address is in r12, register 12.
#define CFA_DEF_EXPRESSION 0x0F
#define CFA_EXPRESSION 0x10
#define OP_BREG12 0x7C
#define OP_DEREF 0x06

// An offset of the record as a signed LEB128 of two bytes.
#define LOW(offset) (((offset) & 0x7F) | 0x80)
#define HIGH(offset) ((offset) >> 7)

#define SAVED_AT(column, offset) \
  .cfi_escape CFA_EXPRESSION, column, 3, OP_BREG12, LOW(offset), HIGH(offset)

#define DESCRIBE_CONTEXT                                                                \
  .cfi_escape CFA_DEF_EXPRESSION, 4, OP_BREG12, LOW(RSP), HIGH(RSP), OP_DEREF;          \
  SAVED_AT(0, RAX); SAVED_AT(1, RDX); SAVED_AT(2, RCX); SAVED_AT(3, RBX);               \
  SAVED_AT(4, RSI); SAVED_AT(5, RDI); SAVED_AT(6, RBP); SAVED_AT(7, RSP);               \
  SAVED_AT(8, R8); SAVED_AT(9, R9); SAVED_AT(10, R10); SAVED_AT(11, R11);               \
  SAVED_AT(12, R12); SAVED_AT(13, R13); SAVED_AT(14, R14); SAVED_AT(15, R15);           \
  SAVED_AT(16, RIP)

.intel_syntax noprefix
.text

// rdi: the record; rsi: what is called for each frame; rdx: its argument.
// System V convention. In the first form Rip is a return address, in the second
// the address of an instruction.
#define WALK               \
  push r12;                \
  .cfi_adjust_cfa_offset 8; \
  .cfi_rel_offset r12, 0;  \
  mov r12, rdi;            \
  mov rdi, rsi;            \
  mov rsi, rdx;            \
  .cfi_remember_state;     \
  DESCRIBE_CONTEXT;        \
  call _Unwind_Backtrace;  \
  nop;                     \
  .cfi_restore_state;      \
  pop r12;                 \
  .cfi_adjust_cfa_offset -8; \
  .cfi_restore r12;        \
  ret

ROUTINE(tarn_unwind_from_return)
  WALK
ROUTINE_END(tarn_unwind_from_return)

ROUTINE(tarn_unwind_from_instruction)
  .cfi_signal_frame
  WALK
ROUTINE_END(tarn_unwind_from_instruction)

END_OF_SOURCE
