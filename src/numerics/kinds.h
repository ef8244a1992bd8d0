// Fortran's SELECTED_INT_KIND and SELECTED_REAL_KIND at run time: arguments
// (32-bit integers) by reference, the kind or a negative reason as the result.
// Each entry has its own numbering of kinds. Any values are accepted; no state,
// no errors, any thread.
#pragma once

#include "include/tarn/fortran_math.h"
#include "platform/abi.h"
