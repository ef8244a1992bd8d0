// Text to number: the strtol and strtod families.
//
// No string traps, whatever the program's own floating-point control: digits that
// overflow yield an infinity.
//
// Errors: errno becomes -1001 for a radix outside 2 to 36 (0 is allowed) and
// for a value out of range; it is not cleared on success. Nothing is raised.
// The string is not tested for null.
//
// `end`, if not null, receives the position after what was read, or the
// string's start when there is no number or an error. White space, digits and
// letters are those of the character-class table; only ASCII counts.
//
// State: errno. Otherwise any thread.
#pragma once

#include "include/stdlib.h"
#include "platform/abi.h"

namespace tarn {

// The value as a float, an infinity if it is too large. Does not trap either.
TARNAPI float single_of(double value);

}  // namespace tarn
