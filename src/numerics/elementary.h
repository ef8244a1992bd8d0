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

#include "include/math.h"
#include "platform/abi.h"

namespace tarn {

inline constexpr std::int32_t kErrnoRange = -1001;
inline constexpr std::int32_t kErrnoDomain = -1002;

}  // namespace tarn
