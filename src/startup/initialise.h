// Bringing the library up. No state: what it finds is kept in
// process/process_state.h and process/system_facts.h, and by the console.
#pragma once

#include "include/tarn/runtime.h"
#include "platform/abi.h"

namespace tarn {

extern "C" {
// Brings the library up, once per process: page size, class table, x87 unit,
// exception handler, standard handles, secondary stack, C streams, console,
// switches. Later calls return at once.
TARNAPI void __initialise_cpplib();
}

}  // namespace tarn
