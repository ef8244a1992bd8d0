// How long one call of a routine takes, by a clock of milliseconds, and the
// file that holds the last result.
//
// The file is "\Timing\Timing_data" in the folder that the environment variable
// appdata names: the 8 bytes of one double, nanoseconds for one call. Each
// measurement replaces it.
//
// Threads: any; two measurements at once replace each other's file.
#pragma once

#include "platform/abi.h"

namespace tarn {

// Milliseconds since local midnight, 0 to 86,399,999.
TARNAPI std::uint32_t __milliseconds_after_midnight();

// The same in seconds.
TARNAPI void current_time(double* seconds);

// Prints the file's path as a line on standard output, makes its folder if need
// be, and writes the value. Where appdata is missing, empty or longer than 79
// bytes there is no path: one line on standard error says so, and nothing is
// written. Raises 296 if the file cannot be created.
TARNAPI void save_timing(double nanoseconds);

using TimedRoutine = void(TARNAPI*)();
// Nanoseconds for one call, also saved by save_timing. The calls are made in
// tens, and repeated until one pass of them lasts more than 8 seconds; so it
// takes 9 seconds and more. A pass that crosses midnight is repeated.
TARNAPI double PERFORM_TIMING(TimedRoutine routine);

// The clock of PERFORM_TIMING, which tests replace.
extern std::uint32_t(TARNAPI* timing_clock)();

}  // namespace tarn
