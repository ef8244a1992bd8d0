// The formatting engine and its front ends: printf, fprintf, sprintf, vsprintf.
//
// A format is copied byte by byte; a directive is
//
//   % [flags] [width] [.precision] [length] conversion
//
//   flags       - left   + sign   space: sign or space  # other form   0 zeros
//               in any order and number; "-" overrules "0", "+" the space
//   width       digits, or * for an int; negative means left
//   precision   digits, or * for an int (negative counts as 0), or nothing (0)
//   length      h 16 bits; ll or L 64 bits; l changes nothing: long has 32 bits
//   conversion  d i u o x X p c s n f e E g G %
//
// Every argument is one 8-byte slot, narrower ones in its low bytes. What
// differs from the C standard:
//   - the space flag puts no space before 0; the precision of o, x, X and p counts
//     the prefix; p shows 32 bits, 64 with ll, as X does;
//   - 0 pads strings and characters too; %c of 0 writes only the padding;
//   - precision of g counts digits after the point (streams/conversion/float_text.h);
//   - %% takes no width; another conversion character writes nothing, and the
//     format continues after it; a format that ends inside a directive ends
//     there;
//   - no text for NaN, infinities and subnormal values: they raise run-time
//     error 297, "Invalid double passed to printf", or with ll or L 298. An L
//     argument is an 8-byte double, and judged as one.
//
// Errors: besides 297 and 298, 291 "Not enough arguments to satisfy format %F"
// when the arguments come to more than 100,000 bytes, where int, pointer and
// character count 4 and 64-bit values 8. The pointers of %s and %n are not
// tested.
//
// Limits: none on width and precision; digits beyond those of the arithmetic are
// zeros. Lengths are counted in 32 bits.
//
// Threads: any; no state. No heap.
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
