// Helpers for Fortran CHARACTER data: an address and a length, padded on the
// right with blanks. The byte 0x20 is the only blank; tabs and NULs are
// ordinary. Nothing here has state or reports a failure; any thread.
//
// How compiled Fortran calls: numbers by reference; the length of a CHARACTER
// argument by value, 64 bits, behind all ordinary arguments; a CHARACTER
// result as the address and length of a buffer ahead of them. A length below
// 0 counts as 0.
#pragma once

#include "platform/abi.h"

namespace tarn {

// The source without its leading (ADJUSTL) or trailing (ADJUSTR) blanks, at the
// left or right end of the result, cut at its other end or filled with blanks.
// Result and source may be the same bytes.
TARNAPI void ADJUSTL_at(char* result, std::int64_t result_length, const char* source,
                        std::int64_t length);
TARNAPI void ADJUSTR_at(char* result, std::int64_t result_length, const char* source,
                        std::int64_t length);

// Moves the text to the left or right end of its own bytes; no length changes.
TARNAPI void TRIM_at(char* text, std::int64_t length);
TARNAPI void TRIMR_at(char* text, std::int64_t length);

// ASCII capitals to small letters, in place. Of the length the low 32 bits
// count, as a signed value.
TARNAPI void LCASE_at(char* text, std::int64_t length);

extern "C" {
// Blanks, and in them the source, centred in `*width` characters: it begins at
// character (*width - n) / 2 of the result, counted from 1, where n is its
// length without trailing blanks (16-bit arithmetic), and at the first one where
// that would lie before it. The result's end cuts. Assembly: rcx = result, rax =
// result_length, as a CHARACTER function.
TARNAPI std::int64_t CENTRE_at(char* result, std::int64_t result_length, const char* source,
                               const std::int16_t* width, std::int64_t length);
}

// A C string of the source without its trailing blanks; the first byte stays
// even if it is a blank. The destination has room for `*length` + 1 bytes.
TARNAPI void MAKE_CSTRING_at(const char* source, char* destination, const std::int32_t* length);
TARNAPI void MAKE_CSTRING$(const char* source, char* destination, const std::int32_t* length);

// The C string in `*length` bytes, cut or filled with blanks; no NUL.
TARNAPI void GET_CSTRING_at(char* destination, const char* source, const std::int32_t* length);

// Puts `new_text` in place of the first `old_text` in the string, all three
// NUL-terminated. Result: the replacement, or null if there was nothing to
// replace. The string's storage holds the longer text; the new text lies
// outside it.
TARNAPI char* string_replace(char* text, const char* old_text, const char* new_text);

}  // namespace tarn
