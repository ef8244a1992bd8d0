// The compiler's stack probe, for the DLL alone: touches the pages of a frame
// of rax bytes from the top down. Changes no register but the flags.

#include "platform/assembly.h"

#define PAGE_SIZE 4096

.intel_syntax noprefix

.text

ROUTINE(___chkstk_ms)
  NO_FRAME
  push rax
  push rcx
  lea rcx, [rsp + 24]               // the caller's stack pointer
1:
  cmp rax, PAGE_SIZE
  jb 2f
  sub rcx, PAGE_SIZE
  or qword ptr [rcx], 0
  sub rax, PAGE_SIZE
  jmp 1b
2:
  sub rcx, rax
  or qword ptr [rcx], 0
  pop rcx
  pop rax
  ret
ROUTINE_END(___chkstk_ms)

END_OF_SOURCE
