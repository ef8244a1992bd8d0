/* What printf and scanf are made of. All routines use the Microsoft x64
 * convention. The scanning ones share one source of characters for the process
 * and are for one thread at a time; the others may be called on any thread. */
#ifndef TARN_NUMBER_TEXT_H
#define TARN_NUMBER_TEXT_H

#include <stdarg.h>

#include "api.h"

TARN_API_BEGIN

/* ---- Floating point to text ----------------------------------------------
 * By multiplication in double arithmetic, not correctly rounded. NaN and
 * infinities raise 297. */

/* 0.d1d2d3... times 10 to *exponent, each digit a 16-bit character; *sign is 1
 * or -1. `count` digits, or -count after the number's point: room for `count`
 * or 310 - count, and one more. */
TARNAPI void __cvt(double value, unsigned short* digits, short* exponent, short* sign, int count);

/* d.ddde+xx, room for precision + 9 bytes. `alt` keeps a bare point, `upper`
 * writes E. */
TARNAPI void __ecvt(double value, char* text, int precision, int alt, int upper);
/* ddd.ddd, room for precision + 313 bytes. The last two have no effect. */
TARNAPI void __fcvt(double value, char* text, int precision, int alt, int unused1, int unused2);
/* One of both, by magnitude, zeros kept. The last one has no effect. */
TARNAPI void __gcvt(double value, char* text, int precision, int upper, int unused);

/* 1 for NaN, infinities and subnormal values, else 0. The 80-bit form takes
 * the address of the ten bytes. */
TARNAPI int invalid_float(float value);
TARNAPI int invalid_double(double value);
TARNAPI int invalid_long_double(const void* value);

/* ---- Parts of printf ----------------------------------------------------- */

/* vsprintf. */
TARNAPI int _sprintf(char* destination, const char* format, TARN_VA_LIST arguments);
/* The decimal number at *text, which moves past it. Wraps at 32 bits. */
TARNAPI int _getnum(const char** text);
/* `text` as a field of `width`, at least `precision` characters of it digits.
 * Result: the byte after it; a NUL stands there unless spaces were written. */
TARNAPI char* _form(const char* text, char* out, int width, int left, int zero, int signed_text,
                    int precision);
/* At most `precision` characters of a string, without a NUL. */
TARNAPI char* _formfixl(const char* text, char* out, int width, int left, int zero, int precision);
/* The value 0 at precision 0: spaces, and a "+" if `signed_text`. */
TARNAPI char* __form_zero_precandvalue(char* out, int width, int left, int signed_text);

/* ---- Parts of scanf ------------------------------------------------------
 * They read from the source of the call of scanf, fscanf or sscanf before. */

TARNAPI int _scanf(const char* format, TARN_VA_LIST arguments);
TARNAPI int _next(void);      /* the next character */
TARNAPI int _peek_next(void); /* the same, and it stays */
TARNAPI int _skipwhite(void); /* the next that is not white space */
/* Copies a set; `format` is the place after its "[" or "[^". Room for 431
 * bytes. Result: the place after the "]", or null. */
TARNAPI const char* _getdels(char* set, const char* format);
/* 0 if any character was read, else -1. */
TARNAPI int _getstr(int suppress, char* buffer, const char* set, int stop_in_set, int width);
/* Reads the text of an integer. Result: the character after it, which stays. */
TARNAPI int _getn(char* buffer, int radix, int no_sign, int width);
/* Stores an integer's text as 16 or 32 bits. The last one has no effect. */
TARNAPI void _set(const char* text, int short_flag, int suppress, void* destination, int radix,
                  int unsigned_flag, int unused);

TARN_API_END

#endif
