// Running other programs. The command line is the program's name, a space, and
// the arguments as they are: nothing is quoted. A child has the standard
// handles, the environment and the current folder of this process.
//
// "cmd /c TEXT" is the command processor on Windows; on the host /bin/sh
// runs TEXT. There an exit code has 8 bits, 0 to 255, and a program that a signal
// ended has 128 plus its number.
//
// Errors: -1, and nothing is started, for a program that cannot be started.
// Threads: any. A wait blocks the calling thread.
#pragma once

#include "platform/abi.h"

namespace tarn {

inline constexpr std::int32_t kSpawnAndWait = 0;
inline constexpr std::int32_t kSpawnAndGoOn = 2;
// Of the command line of _spawns and _spawnv, its NUL included; if longer the result is -1.
inline constexpr std::uint64_t kSpawnTextSize = 1024;

// The exit code of the command processor, or -1. A null or empty command runs
// the command processor alone.
TARNAPI std::int32_t system(const char* command);

// Mode 0 waits: the child's exit code. Mode 2 leaves it running: 0. Any other
// mode: -1. Arguments without a program are ignored, which leaves nothing to
// start: -1.
TARNAPI std::int32_t _spawns(std::int32_t mode, const char* program, const char* arguments);

// The arguments one by one, to a null; a space goes after each. With a program
// their first is left out, as it names it again; without one it is the program.
// `argv` may be null. Mode 0 waits and returns 0 (the result of the wait, not the
// exit code); mode 2 as above.
TARNAPI std::int32_t _spawnv(std::int32_t mode, const char* program, const char* const* argv);

// Waits in slices of so many milliseconds, between which the program's windows
// are served. The result of the last wait: 0 once the child has ended. A slice
// of 0 looks once, and returns 258 if the child still runs; -1 waits without
// serving windows. Command line: at most what the system takes (32,767 bytes).
// Raises 199 without storage for it.
TARNAPI std::int32_t __start_process_and_wait(const char* program, const char* arguments,
                                              std::int32_t slice);

}  // namespace tarn
