// Routines of the start-up module that return several registers, or the flags,
// or that move the stack.

#include "platform/assembly.h"

#define PROBE_STEP 4000             // below a page, so that none is skipped

.intel_syntax noprefix

.text

// rax = &__runtime_block, rcx = argc, rdx = argv.
ROUTINE(__main_setup)
  FRAME(40)
  call tarn_connect_own_slots
  call __initialise_cpplib
  call __get_main_arguments
  lea rax, [rip + __runtime_block]
  add rsp, 40
  ret
ROUTINE_END(__main_setup)

// rcx = argc, rdx = argv.
ROUTINE(__get_main_arguments)
  FRAME(40)
  lea rcx, [rsp + 32]
  call tarn_build_main_arguments    // rax: argv; argc in the cell
  mov rdx, rax
  movsxd rcx, dword ptr [rsp + 32]
  add rsp, 40
  ret
ROUTINE_END(__get_main_arguments)

// The flags: equal if the processor supports AVX. Changes nothing else.
ROUTINE(__test_avx)
  NO_FRAME
  cmp dword ptr [rip + tarn_avx_supported], 1
  ret
ROUTINE_END(__test_avx)

// rax: frame size, compared as signed. Changes the flags only.
ROUTINE(__stack_adjust)
  push rcx
  push rdx
#ifdef _WIN32
  .seh_pushreg rcx
  .seh_pushreg rdx
#else
  .cfi_adjust_cfa_offset 16
#endif
  NO_FRAME
  lea rcx, [rsp + 24]               // the caller's stack pointer
  xor edx, edx
1:
  test eax, [rcx]
  sub rcx, PROBE_STEP
  add rdx, PROBE_STEP
  cmp rdx, rax
  jl 1b
  pop rdx
  pop rcx
  ret
ROUTINE_END(__stack_adjust)
#ifdef TARN_LIBRARY_IMAGE
.globl ___chkstk_ms                 // what the compiler's own large frames call
.set ___chkstk_ms, __stack_adjust
#endif

END_OF_SOURCE
