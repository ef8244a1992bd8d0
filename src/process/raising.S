// The entries that raise a number. process/raising.h has the contract of the trap.

#include "platform/assembly.h"

#define TRAP     \
  int 9;         \
  ud2                               // not reached: no handler goes on after the trap

#define ERROR_CALLERS_TEXT 345
#define ERROR_MISSING_ROUTINE 29

.intel_syntax noprefix

.text

// rcx: address of the number.
ROUTINE(FAIL_at)
  NO_FRAME
  movsxd rax, dword ptr [rcx]
  TRAP
ROUTINE_END(FAIL_at)

// ecx: the number. r8 to r13 stay as they are.
ROUTINE(ReportErrorNumber_at)
  NO_FRAME
  movsxd rax, ecx
  TRAP
ROUTINE_END(ReportErrorNumber_at)

// rcx: the text. It becomes %1; %2 to %4 are "???".
ROUTINE(ReportErrorString_at)
  NO_FRAME
  mov r8, rcx
  lea r9, [rip + no_text]
  mov r10, r9
  mov r11, r9
  mov eax, ERROR_CALLERS_TEXT
  TRAP
ROUTINE_END(ReportErrorString_at)

// rcx: the routine's name. It becomes %1.
ROUTINE(__MissingRoutine)
  NO_FRAME
  mov r8, rcx
  mov eax, ERROR_MISSING_ROUTINE
  TRAP
ROUTINE_END(__MissingRoutine)

#ifdef _WIN32
.section .rdata, "dr"
#else
.section .rodata
#endif
no_text: .asciz "???"

END_OF_SOURCE
