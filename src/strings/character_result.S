// The helper that answers as a compiled CHARACTER function does.

#include "platform/assembly.h"

.intel_syntax noprefix

.text

// rcx: result, rdx: its length, r8: source, r9: width, on the stack: the
// source's length. rcx = result, rax = its length.
ROUTINE(tarn_CENTRE)
  FRAME(56)
  mov [rsp + 40], rcx
  mov [rsp + 48], rdx
  mov rax, [rsp + 56 + 40]          // the fifth argument, passed on as such
  mov [rsp + 32], rax
  call tarn_centre
  mov rcx, [rsp + 40]
  mov rax, [rsp + 48]
  add rsp, 56
  ret
ROUTINE_END(tarn_CENTRE)

END_OF_SOURCE
