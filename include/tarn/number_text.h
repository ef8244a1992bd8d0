/* The parts of printf and scanf. All routines use the Microsoft x64
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

/* Converts to 0.d1d2d3... times 10 to *exponent, each digit a 16-bit character;
 * *sign is 1 or -1. A positive `count` asks for so many digits, a negative one for
 * -count digits after the number's point. `digits` needs room for `count` or
 * 310 - count digits, and one more. */
TARNAPI void __cvt(double value, unsigned short* digits, short* exponent, short* sign, int count);

/* Writes d.ddde+xx; `text` needs room for precision + 9 bytes. `alt` keeps a bare
 * point, `upper` writes E. */
TARNAPI void __ecvt(double value, char* text, int precision, int alt, int upper);
/* Writes ddd.ddd; `text` needs room for precision + 313 bytes. The last two
 * arguments have no effect. */
TARNAPI void __fcvt(double value, char* text, int precision, int alt, int unused1, int unused2);
/* Writes one of the two forms, depending on the magnitude, with trailing zeros. The
 * last argument has no effect. */
TARNAPI void __gcvt(double value, char* text, int precision, int upper, int unused);

/* Returns 1 for NaN, infinities and subnormal values, else 0. The 80-bit form takes
 * the address of the ten bytes. */
TARNAPI int invalid_float(float value);
TARNAPI int invalid_double(double value);
TARNAPI int invalid_long_double(const void* value);

/* ---- Parts of printf ----------------------------------------------------- */

/* vsprintf. */
TARNAPI int _sprintf(char* destination, const char* format, TARN_VA_LIST arguments);
/* Reads the decimal number at *text, and moves *text past it. Wraps at 32 bits. */
TARNAPI int _getnum(const char** text);
/* Writes `text` as a field of `width` with at least `precision` digits. Result: the
 * address after the field, where a NUL is unless spaces were written last. */
TARNAPI char* _form(const char* text, char* out, int width, int left, int zero, int signed_text,
                    int precision);
/* Writes at most `precision` characters of a string, without a NUL. */
TARNAPI char* _formfixl(const char* text, char* out, int width, int left, int zero, int precision);
/* Writes the value 0 at precision 0: spaces, and a "+" if `signed_text`. */
TARNAPI char* __form_zero_precandvalue(char* out, int width, int left, int signed_text);

/* ---- Parts of scanf ------------------------------------------------------
 * They read from the source of the last call of scanf, fscanf or sscanf. */

TARNAPI int _scanf(const char* format, TARN_VA_LIST arguments);
TARNAPI int _next(void);      /* the next character */
TARNAPI int _peek_next(void); /* the same, without consuming it */
TARNAPI int _skipwhite(void); /* the next that is not white space */
/* Copies a set, which needs room for 431 bytes; `format` is the place after its "["
 * or "[^". Result: the place after the "]", or null. */
TARNAPI const char* _getdels(char* set, const char* format);
/* Reads a string or a set. Returns 0 if any character was read, else -1. */
TARNAPI int _getstr(int suppress, char* buffer, const char* set, int stop_in_set, int width);
/* Reads the text of an integer. Result: the character after it, not consumed. */
TARNAPI int _getn(char* buffer, int radix, int no_sign, int width);
/* Converts an integer's text and stores it as 16 or 32 bits. The last argument has
 * no effect. */
TARNAPI void _set(const char* text, int short_flag, int suppress, void* destination, int radix,
                  int unsigned_flag, int unused);

TARN_API_END

#endif
