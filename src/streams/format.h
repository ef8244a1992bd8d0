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

#include "platform/abi.h"
#include "streams/file_stream.h"

namespace tarn {

// ---- Front ends -----------------------------------------------------------

// Returns the number of characters formatted, even if a write failed, which ferror
// reports. The text goes to the stream by fputs: in one piece up to 4,119 characters, a
// longer one in pieces of that length, so that nothing is lost.
TARNAPI std::int32_t printf(const char* format, ...);
TARNAPI std::int32_t fprintf(FILE* stream, const char* format, ...);

// Returns the number of characters without the NUL. `destination` has room for all of them.
TARNAPI std::int32_t sprintf(char* destination, const char* format, ...);
TARNAPI std::int32_t vsprintf(char* destination, const char* format, const Slot* slots);

// The same for at most `size` bytes, the NUL included; the rest is cut. The
// result is the length without the cut. A size of 0 writes nothing.
TARNAPI std::int32_t format_bounded(char* destination, std::uint64_t size, const char* format,
                                    const Slot* slots);

// ---- The engine and its parts ---------------------------------------------

TARNAPI std::int32_t _sprintf(char* destination, const char* format, const Slot* slots);

// The decimal number at *text, which moves past it; 0 without a digit. Wraps
// at 32 bits.
TARNAPI std::int32_t _getnum(const char** text);

// Writes `text` as a field. It is filled up to `precision` characters by zeros
// after the sign (a space is a sign if `signed_text` is set), and to `width` by
// spaces after it (`left`) or before it; with `zero` and not `left` by zeros before
// it, after the first character if `signed_text` is set. A NUL
// follows unless `left` padded. Result: the byte after the field.
TARNAPI char* _form(const char* text, char* out, std::int32_t width, std::int32_t left,
                    std::int32_t zero, std::int32_t signed_text, std::int32_t precision);

// As _form for at most `precision` characters of a string, without a NUL.
TARNAPI char* _formfixl(const char* text, char* out, std::int32_t width, std::int32_t left,
                        std::int32_t zero, std::int32_t precision);

// The value 0 with precision 0: `width` spaces, one of them (the first if
// `left`, else the last) a "+" if `signed_text` is set. A NUL follows.
TARNAPI char* __form_zero_precandvalue(char* out, std::int32_t width, std::int32_t left,
                                       std::int32_t signed_text);

}  // namespace tarn
