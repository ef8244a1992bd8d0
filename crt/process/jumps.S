// setjmp and longjmp: the registers that a routine keeps for its caller, with the
// floating-point controls. The frames between are left as they are; nothing is unwound.
//
// Offsets of mingw-w64's _JUMP_BUFFER.
        .text

        .globl  _setjmp
        .globl  _setjmpex
        .globl  setjmp
_setjmp:
_setjmpex:
setjmp:
        movq    $0, 0(%rcx)             // Frame: no unwinding
        movq    %rbx, 8(%rcx)
        leaq    8(%rsp), %rax
        movq    %rax, 16(%rcx)
        movq    %rbp, 24(%rcx)
        movq    %rsi, 32(%rcx)
        movq    %rdi, 40(%rcx)
        movq    %r12, 48(%rcx)
        movq    %r13, 56(%rcx)
        movq    %r14, 64(%rcx)
        movq    %r15, 72(%rcx)
        movq    (%rsp), %rax
        movq    %rax, 80(%rcx)
        stmxcsr 88(%rcx)
        fnstcw  92(%rcx)
        movups  %xmm6, 96(%rcx)
        movups  %xmm7, 112(%rcx)
        movups  %xmm8, 128(%rcx)
        movups  %xmm9, 144(%rcx)
        movups  %xmm10, 160(%rcx)
        movups  %xmm11, 176(%rcx)
        movups  %xmm12, 192(%rcx)
        movups  %xmm13, 208(%rcx)
        movups  %xmm14, 224(%rcx)
        movups  %xmm15, 240(%rcx)
        xorl    %eax, %eax
        ret

        .globl  longjmp
longjmp:
        cmpw    $0, crt_jumps_need_care(%rip)
        jne     jump_with_care
.Lload: movl    %edx, %eax
        testl   %eax, %eax
        jnz     1f
        incl    %eax                    // setjmp never returns 0 a second time
1:      movq    8(%rcx), %rbx
        movq    16(%rcx), %rsp
        movq    24(%rcx), %rbp
        movq    32(%rcx), %rsi
        movq    40(%rcx), %rdi
        movq    48(%rcx), %r12
        movq    56(%rcx), %r13
        movq    64(%rcx), %r14
        movq    72(%rcx), %r15
        fnclex
        ldmxcsr 88(%rcx)
        fldcw   92(%rcx)
        movups  96(%rcx), %xmm6
        movups  112(%rcx), %xmm7
        movups  128(%rcx), %xmm8
        movups  144(%rcx), %xmm9
        movups  160(%rcx), %xmm10
        movups  176(%rcx), %xmm11
        movups  192(%rcx), %xmm12
        movups  208(%rcx), %xmm13
        movups  224(%rcx), %xmm14
        movups  240(%rcx), %xmm15
        jmp     *80(%rcx)

        .seh_proc jump_with_care
jump_with_care:
        subq    $56, %rsp
        .seh_stackalloc 56
        .seh_endprologue
        cmpb    $0, crt_console_handler_runs(%rip)
        je      3f
        movq    %rcx, 32(%rsp)
        movq    %rdx, 40(%rsp)
        call    crt_check_jump
        movq    32(%rsp), %rcx
        movq    40(%rsp), %rdx
3:      addq    $56, %rsp
        .seh_endproc
        cmpb    $0, crt_stack_overflowed(%rip)
        je      .Lload

// Once a stack has overflowed the library makes the jump, to 2: on the other stack, for
// it makes the next overflow known again. What it loads (include/tarn/traps.h) are the
// arguments of this routine.
        subq    $296, %rsp
        leaq    2f(%rip), %rax
        movq    %rax, 32(%rsp)
        movq    16(%rcx), %rax
        subq    $64, %rax
        movq    %rax, 40(%rsp)
        movq    %rcx, 56(%rsp)          // rbx
        movq    %rdx, 64(%rsp)          // rsi
        leaq    32(%rsp), %rax
        movq    %rax, 288(%rsp)
        leaq    288(%rsp), %rcx
        call    tarn_suite_jump
2:      movq    %rbx, %rcx
        movl    %esi, %edx
        jmp     .Lload

        .bss
        .globl  crt_stack_overflowed
        .globl  crt_console_handler_runs
crt_jumps_need_care:
crt_stack_overflowed:
        .byte   0
crt_console_handler_runs:
        .byte   0
