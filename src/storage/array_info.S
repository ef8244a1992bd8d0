// The routine of the array list that returns three registers.

#include "platform/assembly.h"

.intel_syntax noprefix

.text

// rcx: array address. rax = its end, rcx = count, rdx = element size.
ROUTINE(__get_destruct_array_info)
  FRAME(56)
  lea rdx, [rsp + 40]
  lea r8, [rsp + 48]
  call tarn_take_array
  mov rcx, [rsp + 40]
  mov rdx, [rsp + 48]
  add rsp, 56
  ret
ROUTINE_END(__get_destruct_array_info)

END_OF_SOURCE
