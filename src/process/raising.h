// Raising a run-time error: the half of a failure that every room needs. What
// becomes of it is the failure room's (failure/runtime_error.h).
//
// Every failure that the library or compiled code finds for itself is a
// number, 0 to 448, with a text in the catalogue (failure/catalogue.h). A
// number is raised, never returned: the two-byte instruction `int 9` with
//
//   rax        the number, all 64 bits
//   r8 to r13  the NUL-terminated texts for %1 to %6 of the message
//
// faults, and the exception handler (failure/exception_handler.h) tells the
// trap from a real fault by its bytes, CD 09, writes the message
// (failure/error_message.h) and ends the process. Any code may load the
// registers and trap for itself; the entries below do it for callers. None of
// them returns, none cleans anything up, and any thread may call them. No state.
#pragma once

#include "platform/abi.h"

namespace tarn {

// Numbers that more than one source raises; failure/catalogue.cpp has the texts.
inline constexpr std::int32_t kErrorFormatArguments = 291;
inline constexpr std::int32_t kErrorFileStructure = 296;
inline constexpr std::int32_t kErrorPrintedDouble = 297;
inline constexpr std::int32_t kErrorPrintedLongDouble = 298;
inline constexpr std::int32_t kErrorStreamPointer = 343;

extern "C" {
// Raises `number`; the registers of %1 to %6 hold what they happen to hold.
// The form for C code.
[[noreturn]] TARNAPI void __RuntimeError(std::int32_t number);

// The same with the number by reference, for Fortran. Assembly.
[[noreturn]] TARNAPI void FAIL_at(const std::int32_t* number);

// The same with the number by value; r8 to r13 reach the handler as the caller
// set them. Assembly.
[[noreturn]] TARNAPI void ReportErrorNumber_at(std::int32_t number);

// Raises 345, whose message is `text` as it stands: a '%' in it is not
// expanded. %2 to %4 are "???". The hidden length is not looked at, `text`
// ends at its NUL. Assembly.
[[noreturn]] TARNAPI void ReportErrorString_at(const char* text, std::int64_t length = 0);

// Raises 29 for the routine called `name`. Assembly.
[[noreturn]] TARNAPI void __MissingRoutine(const char* name);
}

// Raises `number` with `text` as %1, inline: the report's first frame is the
// caller.
[[noreturn, gnu::always_inline]] inline void raise_with_text(std::int64_t number,
                                                             const char* text) {
  register const char* first asm("r8") = text;
  asm volatile("int $9" : : "a"(number), "r"(first) : "memory");
  __builtin_unreachable();
}

// Raises `number`, and returns if a trap routine goes on after the trap.
[[gnu::always_inline]] inline void raise_resumable(std::int64_t number) {
  asm volatile("int $9" : : "a"(number) : "memory");
}

}  // namespace tarn
