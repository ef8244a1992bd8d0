// Bringing the library up, and what is known of the process and the system
// from then on: the run-time switches, the environment and registry readers,
// and the facts about the platform.
//
// The state here belongs to the process and is written by
// __initialise_cpplib, on the first thread, before main. The result buffers
// of getenv and ReadRegAndEnv are shared and unlocked.
#pragma once

#include "platform/abi.h"

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
// exception handler, standard handles, secondary stack, C streams, switches.
// Later calls return at once.
TARNAPI void __initialise_cpplib();

// 1 if the process's main image is marked for the graphical subsystem.
TARNAPI std::int32_t __GetNtWindowsMode();
}

// The variable's value, or null if it is absent or empty. Valid until the
// next call, by any thread. Looks at the process's environment only.
TARNAPI char* getenv(const char* name);

// A text from HKEY_CURRENT_USER, or from the environment if the key or the
// value is missing. A registry text lies in a static buffer of 32,768 bytes
// (a longer one counts as missing), valid until the next call; an environment
// text is getenv's.
TARNAPI char* ReadRegAndEnv(const char* key, const char* value);

// ReadRegAndEnv under "Software\Tarnley\Common".
TARNAPI char* read_config_key(const char* value);

// Version of a library that has "DllGetVersion": major in the high 16 bits,
// minor in the low 16. 0 if it cannot be loaded or told.
TARNAPI std::uint32_t GetDllVersion(const char* library);

// Total physical memory in bytes; 0 before initialisation.
TARNAPI std::uint64_t GetPhysicalMemorySize();

// The system's platform identifier and version; zeros before initialisation.
TARNAPI void GetWinVer(std::uint32_t* platform_id, std::uint32_t* major, std::uint32_t* minor);

// The library's version as compiled code tests it: 0x460E.
TARNAPI std::int32_t _ncx_lib_version();

// Fills what GetPhysicalMemorySize and GetWinVer report. Part of
// initialisation, at the place where the console starts.
void record_system_facts();

}  // namespace tarn
