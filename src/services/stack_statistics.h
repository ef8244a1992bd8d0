// What a program used of the secondary stack (storage/secondary_stack.h), for
// people. No state.
#pragma once

#include "platform/abi.h"

namespace tarn {

// Prints how much of both stacks was ever committed, and the size, in bytes in
// hexadecimal, to standard output.
TARNAPI void PRINT_SECONDARY_STACK_STATISTICS();

}  // namespace tarn
