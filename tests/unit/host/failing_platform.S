// The trampolines of failing_platform.h, one for each operation: rax is its
// number and r11 the real one when they meet.

#include "platform/assembly.h"

.intel_syntax noprefix

.text

.set number, 0

#define CANNOT_FAIL(name)
#define OPERATION(name, link_name, failure, error) \
  ROUTINE(__wrap_##link_name)                      \
  mov eax, number;                                 \
  lea r11, [rip + __real_##link_name];             \
  jmp call_or_fail;                                \
  ROUTINE_END(__wrap_##link_name);                 \
  .set number, number + 1;
#define NOT_ON_HOST OPERATION

#include "tests/unit/host/platform_operations.inc"

// The registers that hold arguments stay as they are: rcx, rdx, r8, r9, and
// xmm0 to xmm3.
ROUTINE(call_or_fail)
  FRAME(0x98)
  mov [rsp + 0x20], rcx
  mov [rsp + 0x28], rdx
  mov [rsp + 0x30], r8
  mov [rsp + 0x38], r9
  movups [rsp + 0x40], xmm0
  movups [rsp + 0x50], xmm1
  movups [rsp + 0x60], xmm2
  movups [rsp + 0x70], xmm3
  mov [rsp + 0x80], r11
  mov ecx, eax
  lea rdx, [rsp + 0x88]
  call tarn_test_call_fails
  mov rcx, [rsp + 0x20]
  mov rdx, [rsp + 0x28]
  mov r8, [rsp + 0x30]
  mov r9, [rsp + 0x38]
  movups xmm0, [rsp + 0x40]
  movups xmm1, [rsp + 0x50]
  movups xmm2, [rsp + 0x60]
  movups xmm3, [rsp + 0x70]
  mov r11, [rsp + 0x80]
  test eax, eax
  mov rax, [rsp + 0x88]
  lea rsp, [rsp + 0x98]
  .cfi_adjust_cfa_offset -0x98
  jnz 1f
  jmp r11
1:
  ret
ROUTINE_END(call_or_fail)

END_OF_SOURCE
