/* Fortran CHARACTER data, called in compiled Fortran's form: numbers by
 * reference, the length of a CHARACTER argument by value after all other
 * arguments, a CHARACTER result as a buffer and its length before them. The data
 * is padded with spaces and has no NUL; only the byte 0x20 is a space. A length
 * below 0 counts as 0. No routine fails or keeps state, and any thread may call
 * them. All routines use the Microsoft x64 convention; names that C cannot spell
 * are given by their link names. */
#ifndef TARN_CHARACTER_H
#define TARN_CHARACTER_H

#include <stdint.h>

#include "api.h"

TARN_API_BEGIN

/* Stores the source without its leading (ADJUSTL) or trailing (ADJUSTR) spaces at
 * the left or right end of the result, truncated or padded with spaces at the other
 * end. Source and result may be the same bytes. */
TARNAPI void ADJUSTL(char* result, int64_t result_length, const char* source, int64_t length)
    TARN_LINK_NAME("ADJUSTL@");
TARNAPI void ADJUSTR(char* result, int64_t result_length, const char* source, int64_t length)
    TARN_LINK_NAME("ADJUSTR@");

/* Moves the text to the left (TRIM) or right (TRIMR) end of its own bytes. */
TARNAPI void TRIM(char* text, int64_t length) TARN_LINK_NAME("TRIM@");
TARNAPI void TRIMR(char* text, int64_t length) TARN_LINK_NAME("TRIMR@");

/* Converts ASCII upper case to lower case, in place. Only the low 32 bits of the
 * length count, as a signed number. */
TARNAPI void LCASE(char* text, int64_t length) TARN_LINK_NAME("LCASE@");

/* Fills the result with spaces and centres the source in `*width` characters of
 * it: the source begins at character (*width - n) / 2, counted from 1, where n is
 * its length without trailing spaces (16-bit arithmetic), or at the first one if
 * that is below 1. What does not fit the result is cut. Returns the length of the
 * result. */
TARNAPI int64_t CENTRE(char* result, int64_t result_length, const char* source, const short* width,
                       int64_t length) TARN_SYMBOL("tarn_CENTRE") TARN_LINK_NAME("CENTRE@");

/* Stores the source without its trailing spaces as a C string; the first byte is
 * kept even if it is a space. The destination must have `*length` + 1 bytes. */
TARNAPI void MAKE_CSTRING(const char* source, char* destination, const int* length)
    TARN_LINK_NAME("MAKE_CSTRING@");

/* Stores the C string in `*length` bytes, truncated or padded with spaces; no NUL. */
TARNAPI void GET_CSTRING(char* destination, const char* source, const int* length)
    TARN_LINK_NAME("GET_CSTRING@");

/* For C: replaces the first `old_text` in the string by `new_text`. Returns the
 * address of the replacement, or null if `old_text` does not occur. The string's
 * storage must have room for the longer string, and `new_text` must lie outside
 * it. */
TARNAPI char* string_replace(char* text, const char* old_text, const char* new_text);

TARN_API_END

#endif
