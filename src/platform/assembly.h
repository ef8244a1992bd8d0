// Macros of the assembly sources, which are the same for both object formats.
// All of them use Intel syntax and the Microsoft x64 convention.
//
//   ROUTINE(name) ... ROUTINE_END(name)   a global routine
//   FRAME(bytes)                          its stack frame, described to both
//                                         systems' unwinders; first act
//   NO_FRAME                              in its place for a leaf routine
//   LAST_CALL(routine)                    a call that ends a routine: its return
//                                         address still lies within the routine,
//                                         where the unwinders look for it
#pragma once

#define LAST_CALL(routine) \
  call routine;            \
  int3

#ifdef _WIN32
#define ROUTINE(name)                  \
  .p2align 4;                          \
  .globl name;                         \
  .def name; .scl 2; .type 32; .endef; \
  .seh_proc name;                      \
  name:
#define FRAME(bytes)     \
  sub rsp, bytes;        \
  .seh_stackalloc bytes; \
  .seh_endprologue
#define NO_FRAME .seh_endprologue
#define ROUTINE_END(name) .seh_endproc
#define END_OF_SOURCE
#else
#define ROUTINE(name)    \
  .p2align 4;            \
  .globl name;           \
  .type name, @function; \
  .cfi_startproc;        \
  name:
#define FRAME(bytes) \
  sub rsp, bytes;    \
  .cfi_adjust_cfa_offset bytes
#define NO_FRAME
#define ROUTINE_END(name) \
  .cfi_endproc;           \
  .size name, . - name
#define END_OF_SOURCE .section .note.GNU-stack, "", @progbits
#endif
