// Jumps across frames.
//
// A label, 256 bytes:          A setjmp buffer, 40 bytes:
//     0  return address            0  stack pointer
//     8  stack pointer             8  return address
//    16  rbp, rbx, rsi, rdi       16  the secondary stack's pointer
//    48  r12 to r15               24  the sum of the three
//    80  xmm6 to xmm15            32  rbp

#include "platform/assembly.h"

#define LABEL_SIZE 256
#define ERROR_HEAP_EXHAUSTED 199
#define ERROR_LONG_JUMP 282
#define PSEUDO_STACK_CELL 11

#define EACH_XMM(ACTION) \
  ACTION(6, 80)          \
  ACTION(7, 96)          \
  ACTION(8, 112)         \
  ACTION(9, 128)         \
  ACTION(10, 144)        \
  ACTION(11, 160)        \
  ACTION(12, 176)        \
  ACTION(13, 192)        \
  ACTION(14, 208)        \
  ACTION(15, 224)
#define SAVE_XMM(n, at) movups [rax + at], xmm ## n;
#define LOAD_XMM(n, at) movups xmm ## n, [rcx + at];

.intel_syntax noprefix

.text

// rcx: the cell. rax: the record.
ROUTINE(tarn_LABEL)
  FRAME(40)
  mov [rsp + 48], rcx
  mov ecx, LABEL_SIZE
  call tarn_label_storage
  test rax, rax
  jz .Lno_storage
  mov rcx, [rsp + 48]
  mov [rcx], rax
  mov rdx, [rsp + 40]
  mov [rax], rdx
  lea rdx, [rsp + 48]
  mov [rax + 8], rdx
  mov [rax + 16], rbp
  mov [rax + 24], rbx
  mov [rax + 32], rsi
  mov [rax + 40], rdi
  mov [rax + 48], r12
  mov [rax + 56], r13
  mov [rax + 64], r14
  mov [rax + 72], r15
  EACH_XMM(SAVE_XMM)
  add rsp, 40
  ret
.Lno_storage:
  mov ecx, ERROR_HEAP_EXHAUSTED
  LAST_CALL(__RuntimeError)
ROUTINE_END(tarn_LABEL)

// rcx: the cell.
ROUTINE(tarn_JUMP)
  NO_FRAME
  mov rcx, [rcx]
  mov rbp, [rcx + 16]
  mov rbx, [rcx + 24]
  mov rsi, [rcx + 32]
  mov rdi, [rcx + 40]
  mov r12, [rcx + 48]
  mov r13, [rcx + 56]
  mov r14, [rcx + 64]
  mov r15, [rcx + 72]
  EACH_XMM(LOAD_XMM)
  mov eax, 1
  mov rdx, [rcx + 8]
  mov r8, [rcx]
  jmp .Lland
ROUTINE_END(tarn_JUMP)

// rdx: the place's stack pointer, r8: its address, eax: the result. The trap
// routines are left on the new stack: where a stack overflowed, nothing may run
// near its end.
.Lland:
  mov rcx, rsp
  lea rsp, [rdx - 48]
  mov [rsp + 40], r8
  mov [rsp + 32], eax
  call tarn_leave_trap_routines
  mov eax, [rsp + 32]
  add rsp, 40
  ret

// rcx: the buffer.
ROUTINE(tarn_setjmp)
  NO_FRAME
  lea rax, [rsp + 8]
  mov [rcx], rax
  mov rdx, [rsp]
  mov [rcx + 8], rdx
  add rax, rdx
  mov rdx, [rip + __runtime_slots + 8 * PSEUDO_STACK_CELL]
  mov rdx, [rdx]
  mov [rcx + 16], rdx
  add rax, rdx
  mov [rcx + 24], rax
  mov [rcx + 32], rbp
  xor eax, eax
  ret
ROUTINE_END(tarn_setjmp)

// rcx: the buffer, edx: the value.
ROUTINE(tarn_longjmp)
  FRAME(40)
  mov rax, [rcx]
  add rax, [rcx + 8]
  add rax, [rcx + 16]
  cmp rax, [rcx + 24]
  jne .Lbad_buffer
  cmp qword ptr [rcx], 0  // never set: all zeros, whose sum is right
  je .Lbad_buffer
  mov r8, [rip + __runtime_slots + 8 * PSEUDO_STACK_CELL]
  mov rax, [rcx + 16]
  mov [r8], rax
  mov rbp, [rcx + 32]
  mov eax, edx
  mov rdx, [rcx]
  mov r8, [rcx + 8]
  jmp .Lland
.Lbad_buffer:
  mov ecx, ERROR_LONG_JUMP
  LAST_CALL(__RuntimeError)
ROUTINE_END(tarn_longjmp)

END_OF_SOURCE
