// Inner products. The register contract and the order of the sums are in
// numerics/dot_products.h. The products' additions are one dependent chain,
// which the loads and multiplications of later steps overlap.

#include "platform/assembly.h"

#define STEPS 16
#define STEP_BYTES 16
#define BODY_BYTES 256              // STEPS * STEP_BYTES
#define FOURS 8

.intel_syntax noprefix

.text

// One pair into the two sums.
.macro PAIR offset
  movupd xmm8, [rcx + \offset]
  movupd xmm9, [rdx + \offset]
  mulpd xmm8, xmm9
  addpd xmm0, xmm8
.endm

ROUTINE(__dotp8)
  NO_FRAME
  pxor xmm0, xmm0
  test r8, r8
  jle 9f
  shr r8
  jnc 1f
  movsd xmm0, qword ptr [rcx]       // clears the second sum
  mulsd xmm0, qword ptr [rdx]
  add rcx, 8
  add rdx, 8
1:
  test r8, r8
  jz 8f
  mov r9, r8
  and r9d, STEPS - 1
  jz .Lpairs

  // The first pass runs only r9 steps, the last ones of the body: its addresses
  // begin as many steps earlier as are left out, its count is rounded up to STEPS.
  sub r8, r9
  add r8, STEPS
  shl r9, 4
  lea rcx, [rcx + r9 - BODY_BYTES]
  lea rdx, [rdx + r9 - BODY_BYTES]
  movq xmm9, r8
  lea r8, [rip + step_offsets - 4]
  shr r9, 2
  movsxd r9, dword ptr [r8 + r9]
  add r9, r8
  movq r8, xmm9
  jmp r9

  .p2align 4
.Lpairs:
  PAIR 0
.Llast15: PAIR 16
.Llast14: PAIR 32
.Llast13: PAIR 48
.Llast12: PAIR 64
.Llast11: PAIR 80
.Llast10: PAIR 96
.Llast9: PAIR 112
.Llast8: PAIR 128
.Llast7: PAIR 144
.Llast6: PAIR 160
.Llast5: PAIR 176
.Llast4: PAIR 192
.Llast3: PAIR 208
.Llast2: PAIR 224
.Llast1: PAIR 240
  add rcx, BODY_BYTES
  add rdx, BODY_BYTES
  sub r8, STEPS
  jg .Lpairs
8:
  haddpd xmm0, xmm0
9:
  ret
ROUTINE_END(__dotp8)

// Four singles into the four sums.
.macro FOUR offset
  movups xmm8, [rcx + \offset]
  movups xmm9, [rdx + \offset]
  mulps xmm8, xmm9
  addps xmm0, xmm8
.endm

ROUTINE(__dotp4)
  NO_FRAME
  pxor xmm0, xmm0
  test r8, r8
  jle 9f
1:
  test r8d, 3
  jz 2f
  movss xmm8, dword ptr [rcx]
  mulss xmm8, dword ptr [rdx]
  addss xmm0, xmm8
  add rcx, 4
  add rdx, 4
  dec r8
  jmp 1b

  // Whole bodies, then the fours left over.
2:
  sub r8, FOURS * 4
  jl 4f
  .p2align 4
3:
  FOUR 0
  FOUR 16
  FOUR 32
  FOUR 48
  FOUR 64
  FOUR 80
  FOUR 96
  FOUR 112
  sub rcx, -FOURS * 16
  sub rdx, -FOURS * 16
  sub r8, FOURS * 4
  jge 3b
4:
  add r8, FOURS * 4
  jz 6f
5:
  FOUR 0
  add rcx, 16
  add rdx, 16
  sub r8, 4
  jg 5b
6:
  haddps xmm0, xmm0
  haddps xmm0, xmm0
9:
  ret
ROUTINE_END(__dotp4)

// rsi, rdi: the strides in bytes.
.macro STRIDED load multiply add width
  pxor xmm0, xmm0
  test r8, r8
  jle 2f
1:
  \load xmm8, \width ptr [rcx]
  \multiply xmm8, \width ptr [rdx]
  \add xmm0, xmm8
  add rcx, rsi
  add rdx, rdi
  dec r8
  jnz 1b
2:
  ret
.endm

ROUTINE(__dotp8x)
  NO_FRAME
  STRIDED movsd, mulsd, addsd, qword
ROUTINE_END(__dotp8x)

ROUTINE(__dotp4x)
  NO_FRAME
  STRIDED movss, mulss, addss, dword
ROUTINE_END(__dotp4x)

// Where the last k steps of the body begin, k = 1 to 15, from the cell before
// the table.
#ifdef _WIN32
.section .rdata, "dr"
#else
.section .rodata
#endif
.p2align 2
step_offsets:
#define ENTRY(k) .long .Llast##k - (step_offsets - 4)
  ENTRY(1); ENTRY(2); ENTRY(3); ENTRY(4); ENTRY(5); ENTRY(6); ENTRY(7); ENTRY(8)
  ENTRY(9); ENTRY(10); ENTRY(11); ENTRY(12); ENTRY(13); ENTRY(14); ENTRY(15)

END_OF_SOURCE
