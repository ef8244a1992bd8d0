// Integers to text in any radix. The buffer is the caller's, of at least 65
// bytes for 64-bit values and 33 for 32-bit ones (with the sign and the NUL,
// 12 or 21 are enough in radix 10). No state; any thread.
#pragma once

#include "platform/abi.h"

namespace tarn {

// Digits 0 to 9, then A to Z, most significant first, and a NUL. A radix
// outside 2 to 36 counts as 10. Result: the buffer.
TARNAPI char* u64toa(std::uint64_t value, char* buffer, std::int32_t radix);
TARNAPI char* utoa(std::uint32_t value, char* buffer, std::int32_t radix);

// As above for a value that is not negative. A negative value is "-" and its
// magnitude in radix 10, whatever radix was asked for: itoa(-255, buffer, 16)
// yields "-255". For a radix outside 2 to 36 errno becomes -1001, the
// result is null, and nothing is written.
TARNAPI char* i64toa(std::int64_t value, char* buffer, std::int32_t radix);
TARNAPI char* itoa(std::int32_t value, char* buffer, std::int32_t radix);

}  // namespace tarn
