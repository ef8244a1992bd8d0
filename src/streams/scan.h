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

#include "platform/abi.h"
#include "streams/file_stream.h"

namespace tarn {

TARNAPI std::int32_t sscanf(const char* text, const char* format, ...);
TARNAPI std::int32_t scanf(const char* format, ...);
// Returns 0 for a null stream, and -1 if the end-of-file indicator is set; raises
// 296, "Invalid FILE structure", for a pointer that is no stream. The character
// after what was read is pushed back by ungetc.
TARNAPI std::int32_t fscanf(FILE* stream, const char* format, ...);

// ---- The engine and its parts ---------------------------------------------
// All of them read from the source that one of these three has set.

TARNAPI std::int32_t _scanf(const char* format, const Slot* slots);

// The next character, sign-extended; 0 at the end of a string, -1 at that of a
// stream (and for a byte 0xFF).
TARNAPI std::int32_t _next();
// The same, but it remains to be read.
TARNAPI std::int32_t _peek_next();
// The next character that is not white space, consumed.
TARNAPI std::int32_t _skipwhite();

// Copies the set at `format`, which is after "[" or "[^", with a NUL. The
// first 175 characters are copied as they are, of the others those not yet in
// the set. Result: the position after the "]", or null if there is none.
inline constexpr std::int32_t kSetSize = 175 + 255 + 1;
TARNAPI const char* _getdels(char* set, const char* format);

// Skips white space, then reads up to `width` characters into `buffer` (not if
// `suppress`), with a NUL. `stop_in_set`: true, ends at a character of the set;
// false, at one outside. 0 if any was read, else -1.
TARNAPI std::int32_t _getstr(std::int32_t suppress, char* buffer, const char* set,
                             std::int32_t stop_in_set, std::int32_t width);

// Reads the text of an integer of up to `width` characters; a "0x" of radix 16
// counts but is not stored. Result: the character after it, pushed back.
TARNAPI std::int32_t _getn(char* buffer, std::int32_t radix, std::int32_t no_sign,
                           std::int32_t width);

// Stores the value of an integer's text as 16 (`short_flag`) or 32 bits,
// unless `suppress`. `unused` has no effect.
TARNAPI void _set(const char* text, std::int32_t short_flag, std::int32_t suppress,
                  void* destination, std::int32_t radix, std::int32_t unsigned_flag,
                  std::int32_t unused);

}  // namespace tarn
