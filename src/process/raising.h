// Raising a run-time error, which every module needs. What becomes of it is the
// concern of the failure module (failure/runtime_error.h).
//
// A failure that the library or compiled code finds is a number, with a text in
// the catalogue (failure/catalogue.h). A number is raised, never returned: the
// two-byte instruction `int 9` faults, and the exception handler
// (failure/exception_handler.h) distinguishes it from a real fault by its bytes, CD 09,
// writes the message and ends the process. The numbers, the registers that the
// handler reads and the entries are in include/tarn/errors.h. No state.
#pragma once

#include "include/tarn/errors.h"
#include "platform/abi.h"

namespace tarn {

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
