// Routines that programs may name and nothing supplies. Calling one raises 29,
// "Call to missing routine - %1", with its name. Their link names differ from
// the C library's. Assembly; no state.
#pragma once

#include "platform/abi.h"

namespace tarn {

[[noreturn]] TARNAPI void lseek() __asm__("tarn_missing_lseek");
[[noreturn]] TARNAPI void __write() __asm__("tarn_missing_write");
[[noreturn]] TARNAPI void __read() __asm__("tarn_missing_read");
[[noreturn]] TARNAPI void C_FAIL_at() __asm__("tarn_missing_C_FAIL");
[[noreturn]] TARNAPI void printfx() __asm__("tarn_missing_printfx");

}  // namespace tarn
