// What a failed integer division was.
#pragma once

#include "platform/platform.h"

namespace tarn {

// The processor has one exception for both failures of an integer division, and
// not every system distinguishes them. True if the divisor of the instruction
// at Rip is not zero: the quotient does not fit.
bool is_divide_overflow(const platform::AMD_CONTEXT& context);

}  // namespace tarn
