// Bringing the library up, and what the system says about itself and the
// program from then on. No state: what is found out is kept in
// process/process_state.h, and by the console.
#pragma once

#include "platform/abi.h"

namespace tarn {

extern "C" {
// Brings the library up, once per process: page size, class table, x87 unit,
// exception handler, standard handles, secondary stack, C streams, console,
// switches. Later calls return at once.
TARNAPI void __initialise_cpplib();

// 1 if the process's main image is marked for the graphical subsystem.
TARNAPI std::int32_t __GetNtWindowsMode();
}

// Total physical memory in bytes; 0 before initialisation.
TARNAPI std::uint64_t GetPhysicalMemorySize();

// The system's platform identifier and version; zeros before initialisation.
TARNAPI void GetWinVer(std::uint32_t* platform_id, std::uint32_t* major, std::uint32_t* minor);

// The library's version as compiled code tests it: 0x460E.
TARNAPI std::int32_t _ncx_lib_version();

}  // namespace tarn
