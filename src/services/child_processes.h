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

#include "include/stdlib.h"
#include "include/tarn/process.h"
#include "platform/abi.h"

namespace tarn {

inline constexpr std::int32_t kSpawnAndWait = 0;
inline constexpr std::int32_t kSpawnAndGoOn = 2;
// Of the command line of _spawns and _spawnv, its NUL included; if longer the result is -1.
inline constexpr std::uint64_t kSpawnTextSize = 1024;

}  // namespace tarn
