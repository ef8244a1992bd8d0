// Registers to and from a context record, and the calls that begin with one.

#include "platform/assembly.h"
#include "platform/posix/faults/context_offsets.h"

.intel_syntax noprefix
.text

// Control, integer, segment and floating-point parts are valid.
#define WHOLE_CONTEXT 0x0010000F

// Stores all but rax, the base, rsp and rip at [base].
#define SAVE(base)                                                                  \
  mov [base + RCX], rcx; mov [base + RDX], rdx; mov [base + RBX], rbx;              \
  mov [base + RBP], rbp; mov [base + RSI], rsi; mov [base + RDI], rdi;              \
  mov [base + R8], r8; mov [base + R9], r9; mov [base + R10], r10;                  \
  mov [base + R11], r11; mov [base + R12], r12; mov [base + R13], r13;              \
  mov [base + R14], r14; mov [base + R15], r15;                                     \
  movups [base + XMM(0)], xmm0; movups [base + XMM(1)], xmm1;                       \
  movups [base + XMM(2)], xmm2; movups [base + XMM(3)], xmm3;                       \
  movups [base + XMM(4)], xmm4; movups [base + XMM(5)], xmm5;                       \
  movups [base + XMM(6)], xmm6; movups [base + XMM(7)], xmm7;                       \
  movups [base + XMM(8)], xmm8; movups [base + XMM(9)], xmm9;                       \
  movups [base + XMM(10)], xmm10; movups [base + XMM(11)], xmm11;                   \
  movups [base + XMM(12)], xmm12; movups [base + XMM(13)], xmm13;                   \
  movups [base + XMM(14)], xmm14; movups [base + XMM(15)], xmm15;                   \
  stmxcsr [base + MXCSR]; stmxcsr [base + FX_MXCSR]; fnstcw [base + X87_CONTROL];   \
  mov [base + SEGMENTS], cs; mov [base + SEGMENTS + 2], ds;                         \
  mov [base + SEGMENTS + 4], es; mov [base + SEGMENTS + 6], fs;                     \
  mov [base + SEGMENTS + 8], gs; mov [base + SEGMENTS + 10], ss;                    \
  mov dword ptr [base + CONTEXT_FLAGS], WHOLE_CONTEXT

// rcx: the record. The flags are left as they are, in the record and here.
ROUTINE(tarn_RtlCaptureContext)
  NO_FRAME
  SAVE(rcx)
  mov [rcx + RAX], rax
  mov dword ptr [rcx + FLAGS], 0
  lea rax, [rsp + 8]
  mov [rcx + RSP], rax
  mov rax, [rsp]
  mov [rcx + RIP], rax
  ret
ROUTINE_END(tarn_RtlCaptureContext)

// rcx: the record. The three words below the stack pointer that it holds are used.
ROUTINE(tarn_RtlRestoreContext)
  NO_FRAME
  ldmxcsr [rcx + MXCSR]
  fldcw [rcx + X87_CONTROL]
  movups xmm0, [rcx + XMM(0)]
  movups xmm1, [rcx + XMM(1)]
  movups xmm2, [rcx + XMM(2)]
  movups xmm3, [rcx + XMM(3)]
  movups xmm4, [rcx + XMM(4)]
  movups xmm5, [rcx + XMM(5)]
  movups xmm6, [rcx + XMM(6)]
  movups xmm7, [rcx + XMM(7)]
  movups xmm8, [rcx + XMM(8)]
  movups xmm9, [rcx + XMM(9)]
  movups xmm10, [rcx + XMM(10)]
  movups xmm11, [rcx + XMM(11)]
  movups xmm12, [rcx + XMM(12)]
  movups xmm13, [rcx + XMM(13)]
  movups xmm14, [rcx + XMM(14)]
  movups xmm15, [rcx + XMM(15)]
  mov r11, [rcx + RSP]
  mov rax, [rcx + RIP]
  mov rdx, [rcx + RCX]
  mov r8, [rcx + R11]
  mov [r11 - 8], rax
  mov [r11 - 16], rdx
  mov [r11 - 24], r8
  mov rax, [rcx + RAX]
  mov rdx, [rcx + RDX]
  mov rbx, [rcx + RBX]
  mov rbp, [rcx + RBP]
  mov rsi, [rcx + RSI]
  mov rdi, [rcx + RDI]
  mov r8, [rcx + R8]
  mov r9, [rcx + R9]
  mov r10, [rcx + R10]
  mov r12, [rcx + R12]
  mov r13, [rcx + R13]
  mov r14, [rcx + R14]
  mov r15, [rcx + R15]
  lea rsp, [r11 - 24]
  pop r11
  pop rcx
  ret
ROUTINE_END(tarn_RtlRestoreContext)

// Passes a record of the caller's registers and the four arguments on, and goes on with
// the record if the routine returns.
#define RECORD 0x30
#define FRAME_SIZE 0x508  // with a record of 0x4D0 bytes
#define PASS_ON(routine)                 \
  FRAME(FRAME_SIZE);                     \
  mov [rsp + RECORD + RAX], rax;         \
  lea rax, [rsp + RECORD];               \
  SAVE(rax);                             \
  mov dword ptr [rax + FLAGS], 0;        \
  lea r10, [rsp + FRAME_SIZE + 8];       \
  mov [rax + RSP], r10;                  \
  mov r10, [rsp + FRAME_SIZE];           \
  mov [rax + RIP], r10;                  \
  mov [rsp + 0x20], r9;                  \
  mov r9, r8;                            \
  mov r8, rdx;                           \
  mov rdx, rcx;                          \
  mov rcx, rax;                          \
  call routine;                          \
  lea rcx, [rsp + RECORD];               \
  LAST_CALL(tarn_RtlRestoreContext)

ROUTINE(tarn_RaiseException)
  PASS_ON(tarn_raise_from)
ROUTINE_END(tarn_RaiseException)

ROUTINE(tarn_RtlUnwindEx)
  PASS_ON(tarn_unwind_from)
ROUTINE_END(tarn_RtlUnwindEx)

// rcx: a routine; rdx: what is kept while it runs, where walks of the stack find it by
// the address of the return; r8: four arguments.
ROUTINE(tarn_call_in_flight)
  FRAME(0x38)
  mov [rsp + 0x28], rdx
  mov rax, rcx
  mov r10, r8
  mov rcx, [r10]
  mov rdx, [r10 + 8]
  mov r8, [r10 + 16]
  mov r9, [r10 + 24]
  call rax
.globl tarn_in_flight_return
tarn_in_flight_return:
  add rsp, 0x38
  .cfi_adjust_cfa_offset -0x38
  ret
ROUTINE_END(tarn_call_in_flight)

END_OF_SOURCE
