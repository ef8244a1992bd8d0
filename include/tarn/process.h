/* Running other programs. `system` is in <stdlib.h>.
 *
 * The command line is the program's name, a space, and the arguments as they
 * are given: nothing is quoted. On Linux it is split by the rules of quotes and
 * backslashes that Windows programs follow; a program may be a native program, a
 * script, or a program image, which runs as this one does. A program image's exit
 * code has all 32 bits; that of other programs is the low 8 bits, which the system
 * keeps, or 128 plus the number of the signal that ended the program.
 *
 * All return -1 if the program cannot be started. All use the Microsoft x64
 * convention and may be called on any thread; a wait blocks the thread. */
#ifndef TARN_PROCESS_H
#define TARN_PROCESS_H

#include "api.h"

TARN_API_BEGIN

/* Wait for the program's end, or leave it running; other modes return -1. */
enum { TARN_SPAWN_WAIT = 0, TARN_SPAWN_NO_WAIT = 2 };

/* Returns the exit code of the program that was waited for, or 0. Arguments without
 * a program return -1, as does a command line of more than 1,023 bytes. */
TARNAPI int _spawns(int mode, const char* program, const char* arguments);

/* Takes the arguments as an array that ends with a null, and puts a space after
 * each. argv[0] names the program again and is left out, unless `program` is null
 * or empty. Returns 0 whether it waits or not, never the exit code, or -1 as above.
 * Not available in hosted programs, whose <process.h> has another routine of this
 * name. */
#ifndef __TARN_HOSTED__
TARNAPI int _spawnv(int mode, const char* program, const char* const* argv);
#endif

/* Waits in slices of `slice` milliseconds, and handles messages of the caller's
 * windows in between. Returns 0 once the program has ended. A slice of 0 checks
 * once, and returns 258 if the program still runs; -1 waits without handling
 * messages. Raises 199 if there is no storage for the command line, which may have
 * 32,766 bytes. */
TARNAPI int __start_process_and_wait(const char* program, const char* arguments, int slice);

TARN_API_END

#endif
