// The scanner: scanf, fscanf, sscanf. Fields are collected as text and turned
// into values by streams/conversion/number_parse.h.
//
// A format has white space (skips any amount of it), literals (white space in
// the input before a literal is skipped) and directives
//
//   % [*] [width] [length] conversion
//
//   *        read, but assign nothing
//   width    digits; without them 80 characters, 1 for c; at most 4,299
//   length   one of h (16 bits), l, L (64 bits); long has 32 bits
//   d i u    integers of radix 10; i takes the radix from 0x or 0
//   o x X p  radix 8 and 16
//   e f g    float, with l or L double
//   s        a word, with its NUL
//   [set]    characters of the set, with a NUL: no ranges; ^ first means not in
//            the set, ] first is a member; may be empty and then counts too
//   c        bytes as they are, no NUL
//   n        characters read so far; not counted
//   %        the character itself
//
// White space is skipped before all directives but c and n. i collects
// everything from "0" up, letters and ":" too, and takes what it can. Other
// conversion characters store nothing and are counted; a format that ends
// inside a directive ends there, and that one is not counted.
//
// Result of the three routines: the number of values assigned; -1 at the end
// of the input before a literal or directive, whatever was assigned before (a
// text has such an end only if it holds nothing but spaces).
//
// Errors: 291 "Not enough arguments to satisfy format %F" in a format of more
// than 25,000 directives.
//
// State: the source, one for the process. Not re-entrant, one thread at a time.
#pragma once

#include "include/stdio.h"
#include "include/tarn/number_text.h"
#include "platform/abi.h"
#include "streams/file_stream.h"

namespace tarn {

// What _getdels needs: the first 175 characters of a set are copied as they are,
// of the others those not yet in it, and a NUL.
inline constexpr std::int32_t kSetSize = 175 + 255 + 1;

}  // namespace tarn
