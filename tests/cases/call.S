// Calls a routine with every register stated, and keeps every register that it
// leaves. Offsets are those of `Call` in call.h.
#include "platform/assembly.h"

.intel_syntax noprefix
.text

// void call_routine(Call* call): Microsoft convention.
ROUTINE(call_routine)
  NO_FRAME
  push rbx
  push rbp
  push rsi
  push rdi
  push r12
  push r13
  push r14
  push r15
  sub rsp, 168
  .irp n, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15
  movaps [rsp + (\n - 6) * 16], xmm\n
  .endr
  stmxcsr [rsp + 160]
  fnstcw [rsp + 164]
  mov [rip + current_call], rcx
  mov [rcx + 8], rsp

  // The stack: arguments above the home space of four registers.
  mov rax, [rcx + 16]
  lea rdx, [rax * 8 + 32 + 15]
  and rdx, -16
  sub rsp, rdx
  mov r8, [rcx + 24]
1:
  sub rax, 1
  jb 2f
  mov r9, [r8 + rax * 8]
  mov [rsp + rax * 8 + 32], r9
  jmp 1b
2:
  mov [rcx + 32], rsp

  mov rax, rcx
  .irp n, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15
  movups xmm\n, [rax + 192 + (\n - 6) * 16]
  .endr
  .irp n, 0, 1, 2, 3
  movups xmm\n, [rax + 64 + \n * 16]
  .endr
  mov rbx, [rax + 128]
  mov rbp, [rax + 136]
  mov rsi, [rax + 144]
  mov rdi, [rax + 152]
  mov r12, [rax + 160]
  mov r13, [rax + 168]
  mov r14, [rax + 176]
  mov r15, [rax + 184]
  mov rdx, [rax + 48]
  mov r8, [rax + 56]
  mov r9, [rax + 352]
  mov rcx, [rax]
  mov [rip + routine], rcx
  mov rcx, [rax + 40]
  fninit
  fldcw [rax + 364]
  ldmxcsr [rax + 360]
  mov rax, [rax + 368]
  call qword ptr [rip + routine]

  pushfq
  push rax
  mov rax, [rip + current_call]
  pop qword ptr [rax + 376]
  pop qword ptr [rax + 384]
  cld
  mov [rax + 392], rcx
  mov [rax + 400], rdx
  mov [rax + 408], rsp
  stmxcsr [rax + 416]
  fnsave [rax + 420]
  mov [rax + 544], rbx
  mov [rax + 552], rbp
  mov [rax + 560], rsi
  mov [rax + 568], rdi
  mov [rax + 576], r12
  mov [rax + 584], r13
  mov [rax + 592], r14
  mov [rax + 600], r15
  .irp n, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15
  movups [rax + 608 + (\n - 6) * 16], xmm\n
  .endr
  movups [rax + 528], xmm0

// Also entered in place of an instruction that faulted, with any registers.
.globl leave_routine
leave_routine:
  cld
  mov rax, [rip + current_call]
  mov rsp, [rax + 8]
  fninit
  fldcw [rsp + 164]
  ldmxcsr [rsp + 160]
  .irp n, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15
  movaps xmm\n, [rsp + (\n - 6) * 16]
  .endr
  add rsp, 168
  pop r15
  pop r14
  pop r13
  pop r12
  pop rdi
  pop rsi
  pop rbp
  pop rbx
  ret
ROUTINE_END(call_routine)

.data
.p2align 3
current_call:
  .quad 0
routine:
  .quad 0
END_OF_SOURCE
