// The exceptions the library knows by name, and the routines that programs
// install to be called before the report.
//
// State: exception_table, catch_all_trap and float_trap. The exception handler
// reads them, the routines below change them; nothing is locked.
#pragma once

#include "platform/platform.h"

namespace tarn {

// What a trap routine returns.
inline constexpr std::int32_t kTrapResume = -1;           // go on at the context's Rip
inline constexpr std::int32_t kTrapPassOn = 0;            // to the next handler of the process
inline constexpr std::int32_t kTrapNotAnError = 0x10002;  // pass on; no failure
inline constexpr std::int32_t kTrapReport = 1;            // go on to the report

// Takes the context record, the exception record and 0. How it runs is
// described in failure/trap_routines.h.
using TrapRoutine = std::int32_t(TARNAPI*)(platform::AMD_CONTEXT* context,
                                           platform::ExceptionRecord* record, std::int32_t zero);

inline constexpr std::uint64_t kFloatingPointException = 1;  // in exception_row::flags

struct exception_row {
  std::uint32_t code;
  const char* name;
  std::uint64_t flags;
  TrapRoutine handler;  // null: none
};

inline constexpr int kExceptionRows = 21;
// A row with code 0 ends it.
extern exception_row exception_table[kExceptionRows + 1];

extern TrapRoutine catch_all_trap;  // for rows without a routine
extern TrapRoutine float_trap;      // asked before it, for floating-point rows

// The pseudo-handle of this process: all bits set.
extern platform::Handle current_process_handle;

// The row of `code`, or null.
exception_row* find_exception(std::uint32_t code);

// Installs `routine` (null: none) for a type; returns the previous one.
//    0 access violation     5 underflow             10 single step
//    1 invalid operation    6 loss of precision     11 privileged instruction
//    2 denormal operand     7 x87 stack fault       12 all without a routine
//    3 divide by zero       8 nothing               13 all floating-point ones
//    4 overflow             9 breakpoint            14 integer divide by zero
// Any other type changes nothing and returns null.
TARNAPI TrapRoutine TRAP_EXCEPTION_at(const std::int32_t* type, TrapRoutine routine);

// Takes the routine out of every row and puts the library's own underflow
// handling back. The routines for types 12 and 13 stay. The argument is not read.
TARNAPI void RESTORE_DEFAULT_HANDLER_at(const void* unused);

}  // namespace tarn
