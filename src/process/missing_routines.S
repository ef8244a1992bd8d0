// The stubs of routines that nothing supplies (process/missing_routines.h).

#include "platform/assembly.h"

.intel_syntax noprefix

.text

// Aligns the stack, calls __MissingRoutine with the name, which comes after the call.
#define MISSING(symbol, name) \
  ROUTINE(symbol)             \
  FRAME(8);                   \
  lea rcx, [rip + 1f];        \
  call __MissingRoutine;      \
  1: .asciz name;             \
  ROUTINE_END(symbol)

MISSING(tarn_missing_lseek, "lseek")
MISSING(tarn_missing_write, "__write")
MISSING(tarn_missing_read, "__read")
MISSING(tarn_missing_C_FAIL, "C_FAIL@")
MISSING(tarn_missing_printfx, "printfx")

END_OF_SOURCE
