// Overview of the numerics module: mathematics for compiled programs.
//
//   elementary.h         C's functions (this file)
//   intrinsics.h         Fortran's elementary intrinsics, called by name
//   kinds.h              SELECTED_INT_KIND and SELECTED_REAL_KIND
//   special_functions.h  error, gamma and Bessel functions
//   dot_products.h       inner products of vectors
//
// State: errno (process/process_state.h), the x87 control word of the calling
// thread, and the first-call cells of the special functions. Nothing else:
// any thread may call anything here, but errno is one cell for the process.
//
// The C functions are computed on the x87 unit in 80-bit precision and rounded
// once; only __xxjj, and with it pow of a negative x, rounds each product to a
// double. An error sets errno and the result is 1e308 or -1e308:
//
//   -1001  range: the result is too large, or the logarithm of 0
//   -1002  domain: no such real number; also every NaN argument of exp, log,
//          log10, pow
//
// Otherwise errno is left alone, except by pow and __xxdd. Of exp, pow and
// __xxdd a result too small is 0.0, and no error. Subnormal arguments count as they are, whatever
// the SSE control register says. Measured errors: docs/accuracy.md.
//
// exp, modf, pow and __xxdd leave the x87 control word 0x0377 (nearest, 64-bit
// precision, overflow unmasked).
#pragma once

#include "platform/abi.h"

namespace tarn {

inline constexpr std::int32_t kErrnoRange = -1001;
inline constexpr std::int32_t kErrnoDomain = -1002;

// e to the power x. Above 708.25: range error, also where the true result is
// finite. Below about -708.25: 0.0.
TARNAPI double exp(double x);

// Logarithms. x < 0: 1e308, domain error; x = 0 of either sign: -1e308, range
// error; the logarithm of infinity is infinity.
TARNAPI double log(double x);
TARNAPI double log10(double x);

// x to the power y. Sets errno to 0 where x is above 0, or 0 with y > 0.
//   x = 0 and y <= 0 (so pow(0, 0) too), x < 0 and y not integral: domain error
//   x > 0 and the result overflows: range error
//   x < 0 and y of 32 bits: repeated multiplication, as __xxjj does it; an
//     overflow is the processor's, an infinity or a trap
//   x < 0 and y beyond 32 bits: as pow(-x, y), negated if y is odd
TARNAPI double pow(double x, double y);

// x = result * 2^*exponent with 0.5 <= |result| < 1. The result of zero, infinity
// and NaN is the argument, and the exponent 0.
TARNAPI double frexp(double x, std::int32_t* exponent);

// x * 2^exponent, rounded to a double. No errno: an overflow is infinity, or
// the processor's overflow trap if the x87 control word unmasks it.
// Zero, infinity and a NaN are returned as they are.
TARNAPI double ldexp(double x, std::int32_t exponent);

// *integral: x rounded toward zero; the result is x - *integral, so a zero has
// no particular sign. For infinity *integral is x and the result a NaN; for a NaN both are NaNs.
TARNAPI double modf(double x, double* integral);

// The absolute value; the most negative integer stays as it is.
TARNAPI std::int32_t abs(std::int32_t x);
TARNAPI std::int32_t labs(std::int32_t x);

// x to the integer power n, in double arithmetic: for each bit of n from the
// lowest, multiply the result by x if the bit is set, then square x. The
// squaring is done after the last bit too: where overflow traps, it may trap
// though the result fits. n <= 0 works on 1 / x and -n. x = 0 with n <= 0:
// 1e308, domain error. A NaN goes through the arithmetic.
TARNAPI double __xxjj(double x, std::int64_t n);

// x to the real power y, x >= 0. Sets errno to 1 (x below 0, or no number: a
// NaN, 0 to the power 0, infinity to the power 0, 1 to an infinite power) or
// to 2 (overflow); the result is then 1e308. A result not above the smallest
// normal number is 0.0. Leaves errno alone otherwise.
TARNAPI double __xxdd(double x, double y);

}  // namespace tarn
