// Where the host's code ends and a program begins.

#include "platform/assembly.h"

#define ExitProcess _ZN4tarn8platform11ExitProcessEj

.intel_syntax noprefix
.text

// rdi: the upper end of a stack, a multiple of 16; rsi: the program's entry.
// Leaves the caller's stack for good. An entry that returns ends the process
// with its result, as Windows does.
ROUTINE(tarn_enter_program)
  .cfi_undefined rip                // a walk of the stack ends here
  mov rsp, rdi
  xor ebp, ebp
  sub rsp, 32
  call rsi
  mov ecx, eax
  call ExitProcess
ROUTINE_END(tarn_enter_program)

END_OF_SOURCE
