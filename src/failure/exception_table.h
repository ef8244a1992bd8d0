// The exceptions the library knows by name, and the routines that programs
// install to be called before the report.
//
// State: exception_table, catch_all_trap and float_trap. The exception handler
// reads them, TRAP_EXCEPTION@ and RESTORE_DEFAULT_HANDLER@ change them; nothing is
// locked. The contract is include/tarn/traps.h.
#pragma once

#include "include/tarn/traps.h"
#include "platform/platform.h"

namespace tarn {

// How a routine runs is described in failure/trap_routines.h.
using TrapRoutine = tarn_trap_routine*;

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

}  // namespace tarn
