// Integers to text in any radix. The buffer is the caller's, of at least 65
// bytes for 64-bit values and 33 for 32-bit ones (with the sign and the NUL,
// 12 or 21 are enough in radix 10). No state; any thread.
#pragma once

#include "include/stdlib.h"
#include "platform/abi.h"
