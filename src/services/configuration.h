// Readers of the process's configuration: environment, registry, versions of
// other libraries. They need nothing of the library but its heap, so they may
// be called before the rest of it is initialised.
//
// The result buffers of getenv and ReadRegAndEnv are shared and unlocked.
#pragma once

#include "platform/abi.h"

namespace tarn {

// The variable's value, or null if it is absent, empty or too long for the heap. Valid until the
// next call, by any thread. Looks at the process's environment only.
TARNAPI char* getenv(const char* name);

// A string from HKEY_CURRENT_USER, or from the environment if the key or the
// value is missing. A registry string is in a static buffer of 32,768 bytes
// (a longer one counts as missing), valid until the next call; an environment
// string is getenv's.
TARNAPI char* ReadRegAndEnv(const char* key, const char* value);

// ReadRegAndEnv under "Software\Tarnley\Common".
TARNAPI char* read_config_key(const char* value);

// Version of a library that has "DllGetVersion": major in the high 16 bits,
// minor in the low 16. 0 if it cannot be loaded or does not tell.
TARNAPI std::uint32_t GetDllVersion(const char* library);

}  // namespace tarn
