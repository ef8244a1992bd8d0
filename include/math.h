/* Mathematics, C's part. All routines use the Microsoft x64 convention and may
 * be called on any thread; errno is one cell for the process.
 *
 * Computed on the x87 unit in 80-bit precision and rounded once; only __xxjj,
 * and with it pow of a negative x, rounds each product to a double. An error
 * sets errno and the result is 1e308 or -1e308:
 *
 *   -1001  range: the result is too large, or the logarithm of 0
 *   -1002  domain: no such real number; also any NaN argument of exp, log,
 *          log10 and pow
 *
 * Otherwise errno is left alone, except by pow and __xxdd. Of exp, pow and
 * __xxdd a result too small is 0.0, and no error. Measured errors: docs/accuracy.md.
 *
 * exp, modf, pow and __xxdd leave the x87 control word 0x0377. */
#ifndef TARN_MATH_H
#define TARN_MATH_H

#include <stdint.h>

#include "tarn/api.h"

TARN_API_BEGIN

/* e to the power x. Above 708.25: range error, also where the true result is
 * finite. Below about -708.25: 0.0. */
TARNAPI double exp(double x);

/* Logarithms. x < 0: 1e308, domain error. x = 0 of either sign: -1e308, range
 * error. The logarithm of infinity is infinity. */
TARNAPI double log(double x);
TARNAPI double log10(double x);

/* x to the power y. Domain error for x = 0 with y <= 0 (pow(0, 0) too) and for
 * x < 0 with y not integral; range error where x > 0 and the result overflows.
 * x < 0 with an integral y of 32 bits multiplies as __xxjj does. errno becomes
 * 0 where x > 0, or x = 0 with y > 0, and nothing went wrong. */
TARNAPI double pow(double x, double y);

/* x = result * 2^*exponent with 0.5 <= |result| < 1. The result of zero, infinity
 * and NaN is the argument, and the exponent 0. */
TARNAPI double frexp(double x, int* exponent);

/* x * 2^exponent. No errno; an overflow is infinity, or the processor's
 * trap where the x87 control word unmasks it. */
TARNAPI double ldexp(double x, int exponent);

/* *integral becomes x rounded toward zero; the result is x - *integral. */
TARNAPI double modf(double x, double* integral);

/* Absolute values; the most negative integer stays as it is. */
TARNAPI int abs(int x);
TARNAPI TARN_LONG labs(TARN_LONG x);

/* x to the integer power n by repeated squaring, also once after n's last
 * bit: that may trap though the result fits. x = 0 with n <= 0: domain error. */
TARNAPI double __xxjj(double x, int64_t n);

/* x to the real power y for x >= 0. errno becomes 1 where there is no such
 * number, 2 on overflow, and the result is then 1e308. */
TARNAPI double __xxdd(double x, double y);

TARN_API_END

#endif
