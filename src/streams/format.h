// The formatting engine and its front ends: printf, fprintf, sprintf, vsprintf.
// The contract is "Formatted output" of include/stdio.h.
//
// Every argument is one 8-byte slot, narrower ones in its low bytes. For the limit
// on arguments (291) an int, a pointer and a character count 4 bytes, 64-bit values
// 8. How digits are made, and what the precision of g counts, is described in
// streams/conversion/float_text.h.
//
// No state, no heap.
#pragma once

#include "include/stdio.h"
#include "include/tarn/number_text.h"
#include "platform/abi.h"
#include "streams/file_stream.h"

namespace tarn {

// vsprintf for at most `size` bytes, the NUL included; the rest is cut. The
// result is the length without the cut. A size of 0 writes nothing.
TARNAPI std::int32_t format_bounded(char* destination, std::uint64_t size, const char* format,
                                    const Slot* slots);

}  // namespace tarn
