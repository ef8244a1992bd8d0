/* Mathematics, C's part. All routines use the Microsoft x64 convention and may
 * be called on any thread; errno is one cell for the process.
 *
 * Results are computed on the x87 unit in 80-bit precision and rounded once; only
 * __xxjj, and so pow of a negative x, rounds each product to a double. An error
 * sets errno and the result is 1e308 or -1e308:
 *
 *   -1001  range: the result is too large, or the logarithm of 0
 *   -1002  domain: no such real number; also any NaN argument of exp, log,
 *          log10 and pow
 *
 * Otherwise errno is unchanged, except by pow and __xxdd. A result of exp, pow or
 * __xxdd that is too small is 0.0, which is not an error. Measured errors:
 * docs/accuracy.md.
 *
 * exp, modf, pow and __xxdd leave the x87 control word at 0x0377. */
#ifndef TARN_MATH_H
#define TARN_MATH_H

#include <stdint.h>

#include "tarn/api.h"

TARN_API_BEGIN

/* e to the power x. Above 708.25: range error, even if the true result is
 * finite. Below about -708.25: 0.0. */
TARNAPI double exp(double x);

/* Logarithms. x < 0: 1e308, domain error. x = 0 of either sign: -1e308, range
 * error. The logarithm of infinity is infinity. */
TARNAPI double log(double x);
TARNAPI double log10(double x);

/* x to the power y. Domain error for x = 0 with y <= 0 (including pow(0, 0)) and
 * for x < 0 with y not integral; range error for x > 0 if the result overflows.
 * x < 0 with an integral y of 32 bits multiplies as __xxjj does. errno becomes 0 on
 * success for x > 0, and for x = 0 with y > 0. */
TARNAPI double pow(double x, double y);

/* x = result * 2^*exponent with 0.5 <= |result| < 1. The result of zero, infinity
 * and NaN is the argument, and the exponent 0. */
TARNAPI double frexp(double x, int* exponent);

/* x * 2^exponent. Does not set errno; an overflow is infinity, or the processor's
 * trap if the x87 control word unmasks it. */
TARNAPI double ldexp(double x, int exponent);

/* *integral becomes x rounded toward zero; the result is x - *integral. */
TARNAPI double modf(double x, double* integral);

/* Absolute values; the most negative integer is returned unchanged. */
TARNAPI int abs(int x);
TARNAPI TARN_LONG labs(TARN_LONG x);

/* x to the integer power n by repeated squaring. It squares once more after n's
 * last bit, which may trap even though the result fits. x = 0 with n <= 0: domain
 * error. */
TARNAPI double __xxjj(double x, int64_t n);

/* x to the real power y for x >= 0. On a domain error errno becomes 1, on overflow
 * 2, and the result is 1e308. */
TARNAPI double __xxdd(double x, double y);

TARN_API_END

#endif
