// Floating-point underflow, the SSE control register, and the console break.
//
// State: the underflow mode, its count, the saved control register and the
// break routine. The control register belongs to a thread, the rest to the
// process; the count is not locked. The contract is include/tarn/traps.h.
#pragma once

#include "failure/exception_table.h"

namespace tarn {

// The MXCSR with no exception unmasked, as the system starts a thread.
inline constexpr std::uint32_t kTrapsMasked = 0x1F80;

// The routine of the underflow row. Counts, clears the destination register of
// the scalar instruction at Rip and lets it run again. An instruction whose
// result does not depend on that register, or that traps although it is zero,
// would trap for ever: it is skipped, with zero as its result. One that cannot
// be read goes to the report.
TARNAPI std::int32_t underflow_handler(tarn_context* context, tarn_exception* record,
                                       std::int32_t zero);

// Passes on the exceptions of other code's C++ run-time.
TARNAPI std::int32_t ime_kludge_handler(tarn_context* context, tarn_exception* record,
                                        std::int32_t zero);

// ---- Console break ----------------------------------------------------------

using BreakRoutine = tarn_break_routine*;

// What the system calls: the event's number; non-zero if it was handled.
TARNAPI std::int32_t intermediate_break_handler(std::uint32_t event);

}  // namespace tarn
