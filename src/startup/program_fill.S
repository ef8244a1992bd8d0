// memset for program images, as memcpy in program_copy.S.

#include "platform/assembly.h"

.intel_syntax noprefix

#if defined(_WIN32) && !defined(TARN_LIBRARY_IMAGE)
.text

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
