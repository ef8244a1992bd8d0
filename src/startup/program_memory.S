// memcpy and memset for program images. The library exports neither, and a
// cross compiler calls them on its own for large objects. Linked as a static
// library, so that an image has them only if something in it asks.

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

// rcx: destination, edx: byte, r8: bytes. rax: the destination.
ROUTINE(memset)
  NO_FRAME
  mov r9, rdi
  mov r10, rcx
  mov rdi, rcx
  mov eax, edx
  mov rcx, r8
  rep stosb
  mov rax, r10
  mov rdi, r9
  ret
ROUTINE_END(memset)
#endif

END_OF_SOURCE
