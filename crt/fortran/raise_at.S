// tarn_raise_at(context, text): raises run-time error 345 with the text, as if by a call
// at the context's Rip with its stack and registers. Nothing returns there.
#define RBX 0x90
#define RSP 0x98
#define RBP 0xA0
#define RSI 0xA8
#define RDI 0xB0
#define R12 0xD8
#define R13 0xE0
#define R14 0xE8
#define R15 0xF0
#define RIP 0xF8

  .section .rdata, "dr"
format:
  .asciz "%s"

  .text
  .globl tarn_raise_at
  .def tarn_raise_at; .scl 2; .type 32; .endef
tarn_raise_at:
  mov %rcx, %rax
  mov RBX(%rax), %rbx
  mov RBP(%rax), %rbp
  mov RSI(%rax), %rsi
  mov RDI(%rax), %rdi
  mov R12(%rax), %r12
  mov R13(%rax), %r13
  mov R14(%rax), %r14
  mov R15(%rax), %r15
  mov RSP(%rax), %rsp
  mov RIP(%rax), %rcx
  push %rcx
  lea format(%rip), %rcx
  jmp tarn_suite_text_error
