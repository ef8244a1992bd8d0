// memcpy for program images. The library exports neither it nor memset, and a cross
// compiler calls them on its own for large objects. Each is a member of a static library of
// its own, so that an image has what something in it asks for, and may have its own.

#include "platform/assembly.h"

.intel_syntax noprefix

#if defined(_WIN32) && !defined(TARN_LIBRARY_IMAGE)
.text

// rcx: destination, rdx: source, r8: bytes. rax: the destination.
ROUTINE(memcpy)
  NO_FRAME
  mov r9, rdi
  mov r10, rsi
  mov rax, rcx
  mov rdi, rcx
  mov rsi, rdx
  mov rcx, r8
  rep movsb
  mov rsi, r10
  mov rdi, r9
  ret
ROUTINE_END(memcpy)
#endif

END_OF_SOURCE
