// Floating-point numbers to decimal text: the digits behind %f, %e and %g.
//
// The method is repeated multiplication by ten in double arithmetic, with one
// table of powers of ten. It is fast and simple and not correctly rounded:
// about 16 digits can be relied on, further ones are what the arithmetic
// yields, and digits beyond the 16th are cut, not rounded. Halves are rounded
// up. Every step is plain double arithmetic in a fixed order, or the same in
// integers where that is exact, so the text is the same on every machine.
// docs/number-text.md measures how it differs from the nearest decimal.
//
// Any precision is safe: the buffer is the caller's, and from about the 60th
// digit on the arithmetic itself yields only "0". None of these has a
// text for NaN or an infinity: they raise run-time error 297, "Invalid double
// passed to printf". No state, no heap; any thread.
#pragma once

#include "include/tarn/number_text.h"
#include "platform/abi.h"

namespace tarn {

// What invalid_long_double takes: the x87 unit's 80-bit layout, in memory, at any address.
struct [[gnu::packed]] ExtendedValue {
  std::uint64_t significand;
  std::uint16_t sign_and_exponent;
};

}  // namespace tarn
