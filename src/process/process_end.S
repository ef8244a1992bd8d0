// The routines by which a failed Fortran input or output statement leaves the
// I/O engine.

#include "platform/assembly.h"

.intel_syntax noprefix

.text

// Keeps the caller's rbx and rbp for __exitiolib.
ROUTINE(__save_rbp)
  NO_FRAME
  mov [rip + io_rbx], rbx
  mov [rip + io_rbp], rbp
  ret
ROUTINE_END(__save_rbp)

// rcx: a stack address, rdx: a code address. Continues at rdx with rbx and
// rbp as __save_rbp kept them and rsp just above the word at rcx.
ROUTINE(__exitiolib)
  NO_FRAME
  mov rbx, [rip + io_rbx]
  mov rbp, [rip + io_rbp]
  mov [rcx], rdx
  mov rsp, rcx
  ret
ROUTINE_END(__exitiolib)

.data
.p2align 3
io_rbx: .quad 0
io_rbp: .quad 0

END_OF_SOURCE
