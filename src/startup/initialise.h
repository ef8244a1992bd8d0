// Bringing the library up, and what is known of the process and the system
// from then on: the run-time switches and the facts about the platform.
//
// The state here belongs to the process and is written by
// __initialise_cpplib, on the first thread, before main.
#pragma once

#include "platform/abi.h"
#include "startup/configuration.h"

namespace tarn {

// Size of a page in bytes; 0 before initialisation.
extern std::uint32_t page_size;

// The switches of the environment variable TARNENVAR, 0 or 1. Its words are
// separated by blanks, ';' or ',' and matched whole, in any case; others are
// ignored. Only the exception handler reads them.
extern std::int32_t kill_dialogbox;  // report as text, exit 1, no dialog
extern std::int32_t no_traceback;    // report without a traceback

extern "C" {
// Brings the library up, once per process: page size, class table, x87 unit,
// exception handler, standard handles, secondary stack, C streams, console,
// switches.
// Later calls return at once.
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
