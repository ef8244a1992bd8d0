// How long one call of a routine takes, by a clock of milliseconds, and the
// file that holds the last result.
//
// The file is "\Timing\Timing_data" in the folder that the environment variable
// appdata names: the 8 bytes of one double, nanoseconds for one call. Each
// measurement replaces it.
//
// Threads: any; two measurements at once replace each other's file.
#pragma once

#include "include/tarn/timing.h"
#include "platform/abi.h"

namespace tarn {

using TimedRoutine = void(TARNAPI*)();

// The clock of PERFORM_TIMING, which tests replace.
extern std::uint32_t(TARNAPI* timing_clock)();

}  // namespace tarn
