// The end of a process, and the pair of routines by which a failed Fortran
// input or output statement leaves the I/O engine.
//
// There is no end-of-program machinery: streams are unbuffered and everything
// else goes with the process, so every way out is one ExitProcess.
#pragma once

#include "include/stdlib.h"
#include "platform/abi.h"

namespace tarn {

extern "C" {
// Keeps the caller's rbx and rbp. One pair is kept: a second call replaces
// the first, so I/O statements do not nest. Assembly.
TARNAPI void __save_rbp();

// Continues at `target` with rbx and rbp as __save_rbp kept them and the
// stack pointer just above the word at `stack`. Does not return. Assembly.
[[noreturn]] TARNAPI void __exitiolib(void* stack, Routine target);
}

}  // namespace tarn
