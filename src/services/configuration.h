// Readers of the process's configuration: environment, registry, versions of
// other libraries. They need nothing of the library but its heap, so they may
// be called before the rest of it is initialised.
//
// The result buffers of getenv and ReadRegAndEnv are shared and unlocked.
#pragma once

#include "include/stdlib.h"
#include "include/tarn/runtime.h"
#include "platform/abi.h"
