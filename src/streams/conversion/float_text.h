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

#include "platform/abi.h"

namespace tarn {

// The value as 0.d1d2d3... times 10 to *exponent; *sign is 1 or -1. `count`
// digits (0 or more), or -count digits after the number's decimal point; each
// is stored as a 16-bit character. `digits` has room for all of them: `count`,
// or up to 310 - count, and one more.
TARNAPI void __cvt(double value, std::uint16_t* digits, std::int16_t* exponent, std::int16_t* sign,
                   std::int32_t count);

// d.ddde+xx with `precision` digits after the point (below 0 counts as 0).
// The point is left out at precision 0 unless `alt` is set; `upper` writes E.
// `text` has room for precision + 9 bytes.
TARNAPI void __ecvt(double value, char* text, std::int32_t precision, std::int32_t alt,
                    std::int32_t upper);

// ddd.ddd with `precision` digits after the point. The last two arguments are
// ignored. `text` has room for precision + 313 bytes.
TARNAPI void __fcvt(double value, char* text, std::int32_t precision, std::int32_t alt,
                    std::int32_t unused1, std::int32_t unused2);

// __fcvt if the decimal magnitude is -4 or more and below `precision`, else
// __ecvt: with the same precision either way, and all zeros kept. Both get
// `alt` 0; `passed_on` has no effect.
TARNAPI void __gcvt(double value, char* text, std::int32_t precision, std::int32_t upper,
                    std::int32_t passed_on);

// ---- Validity -------------------------------------------------------------
// 1 for NaN, infinities and subnormal values, else 0. The sign does not matter.

TARNAPI std::int32_t invalid_float(float value);
TARNAPI std::int32_t invalid_double(double value);

// The x87 unit's 80-bit layout, in memory, at any address.
struct [[gnu::packed]] ExtendedValue {
  std::uint64_t significand;
  std::uint16_t sign_and_exponent;
};
TARNAPI std::int32_t invalid_long_double(const ExtendedValue* value);

}  // namespace tarn
