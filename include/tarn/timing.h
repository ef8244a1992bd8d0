/* The time of day, and how long one call of a routine takes. All routines use
 * the Microsoft x64 convention and may be called on any thread. */
#ifndef TARN_TIMING_H
#define TARN_TIMING_H

#include "api.h"

TARN_API_BEGIN

/* Milliseconds since local midnight. */
TARNAPI unsigned int __milliseconds_after_midnight(void);

/* The same in seconds. */
TARNAPI void current_time(double* seconds);

/* Measures the nanoseconds for one call of `routine` with a millisecond clock:
 * the calls are made in tens, and repeated until one pass of them lasts more than 8
 * seconds, so it takes 9 seconds or more. The result is also saved as by
 * save_timing. */
TARNAPI double PERFORM_TIMING(void(TARNAPI* routine)(void));

/* Writes the value, 8 bytes, to the file \Timing\Timing_data in the folder that
 * the environment variable appdata names, and prints the path. If appdata is
 * missing, empty or longer than 79 bytes, one line on standard error says so
 * and nothing is written. Raises 296 if the file cannot be created. */
TARNAPI void save_timing(double nanoseconds);

TARN_API_END

#endif
