// Floating-point underflow, the SSE control register, and the console break.
//
// State: the underflow mode, its count, the saved control register and the
// break routine. The control register belongs to a thread, the rest to the
// process; the count is not locked.
#pragma once

#include "failure/exception_table.h"

namespace tarn {

// The MXCSR with no exception unmasked, as the system starts a thread.
inline constexpr std::uint32_t kTrapsMasked = 0x1F80;

// 0: an underflow yields zero and is not counted. 1: each underflow traps, is
// counted and yields zero. 2: each traps, is counted and ends in the report.
// Sets the calling thread's control register. Another mode changes nothing.
TARNAPI void __set_software_underflows(std::int32_t mode);
TARNAPI void SET_SOFTWARE_UNDERFLOWS$(const std::int32_t* mode);

// True: mode 0; false: mode 2.
TARNAPI void PERMIT_UNDERFLOW$(const std::int16_t* permitted);

// Does nothing.
TARNAPI void CLEAR_FLT_UNDERFLOW$();

// Stores how many underflows have trapped. In mode 0, once a process, a notice
// says that nothing is counted.
TARNAPI void UNDERFLOW_COUNT$(std::int32_t* count);

// Always 0.
TARNAPI std::int64_t EXCEPTION_ADDRESS$();

// Non-zero: masks underflow, overflow, invalid operation and zero divide for
// the calling thread, and turns on flush-to-zero and denormals-are-zero. Zero:
// loads the control register as the first call of the process found it.
TARNAPI void mask_all_fp_errors(std::int32_t on);

// The routine of the underflow row. Counts, clears the destination register of
// the scalar instruction at Rip and lets it run again. An instruction whose
// result does not depend on that register, or that traps although it is zero,
// would trap for ever: it is skipped, with zero as its result. One that cannot
// be read goes to the report.
TARNAPI std::int32_t underflow_handler(platform::AMD_CONTEXT* context,
                                       platform::ExceptionRecord* record, std::int32_t zero);

// Passes on the exceptions of other code's C++ run-time.
TARNAPI std::int32_t ime_kludge_handler(platform::AMD_CONTEXT* context,
                                        platform::ExceptionRecord* record, std::int32_t zero);

// ---- Console break ----------------------------------------------------------

// Returns non-zero if it dealt with the break.
using BreakRoutine = std::int32_t(TARNAPI*)();

// Type 0: `routine` is called at Ctrl+C and Ctrl+Break, on a thread that the
// system starts. Returns the previous routine. Another type does nothing and
// returns null.
TARNAPI BreakRoutine SET_TRAP_at(BreakRoutine routine, const std::int32_t* type);

// What the system calls: the event's number; non-zero if it was handled.
TARNAPI std::int32_t intermediate_break_handler(std::uint32_t event);

}  // namespace tarn
