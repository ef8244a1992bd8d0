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

#include "platform/abi.h"

namespace tarn {

// White space, a sign (also for the unsigned ones: the value is negated), and
// digits of the radix; radix 0 takes 16 from "0x", 8 from another "0", else
// 10; radix 16 allows "0x". Out of range or a bad radix: all bits set. A value
// that only its last digit takes out of the range wraps without an error:
// 4294967296 yields 0.
TARNAPI std::uint32_t strtoul(const char* text, char** end, std::int32_t radix);
TARNAPI std::uint64_t strtoul64(const char* text, char** end, std::int32_t radix);

// White space, a sign, and then as strtoul. A value with its top bit set is
// out of range: the largest or the least value. One that wraps there wraps here.
// "-2147483648" yields the right value, and sets errno too.
TARNAPI std::int32_t strtol(const char* text, char** end, std::int32_t radix);
TARNAPI std::int64_t strtol64(const char* text, char** end, std::int32_t radix);

// White space, a sign, digits with or without a point, and an exponent; a lone
// point and an "e" without digits count as read. Digits are accumulated and
// then scaled in double arithmetic, so the result is not always the nearest
// double (docs/number-text.md). With an exponent, too large and too small are
// both out of range: 1e308, or -1e308 after "-". Without one there is no
// range test: some 310 digits overflow as arithmetic does. "-0" yields +0.0.
TARNAPI double strtod(const char* text, char** end);

// The value as a float, an infinity if it is too large. Does not trap either.
TARNAPI float single_of(double value);

TARNAPI std::int32_t atoi(const char* text);
TARNAPI std::int32_t atol(const char* text);
TARNAPI double atof(const char* text);

}  // namespace tarn
