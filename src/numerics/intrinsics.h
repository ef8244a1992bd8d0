// Fortran's elementary intrinsics as routines that can be called by name or
// passed as arguments: arguments by reference, result by value. A name NAME@ is
// NAME_at here.
//
// Where a comment says "kernel", the routine of the sibling library with that
// name does the work (paneview/paneview.h): what it raises for arguments
// outside its domain, and its quiet NaN for a NaN, pass through. The others are
// computed here by one x87 or SSE instruction; the x87 ones work in 80-bit
// precision and round once.
//
// No state, no errno; any thread. Complex numbers are {real, imaginary}.
#pragma once

#include "platform/abi.h"

namespace tarn {

// A result that fills the first floating-point result register whole.
using Complex8 = float __attribute__((vector_size(16)));    // both parts in the low half
using Complex16 = double __attribute__((vector_size(16)));  // one part in each half

// ---- Logarithms, exponential ---------------------------------------------
TARNAPI float ALOG_at(const float* x);     // kernel ALOG$$, natural
TARNAPI float ALOG1_at(const float* x);    // kernel AL10$$, base 10
TARNAPI float ALOG2_at(const float* x);    // kernel ALG2$$, base 2
TARNAPI double DLOG_at(const double* x);   // kernel DALOG$$
TARNAPI double DLOG1_at(const double* x);  // kernel DAL10$$
TARNAPI double DLOG2_at(const double* x);  // kernel DALG2$$
TARNAPI float EXP_at(const float* x);      // kernel EXP$$
TARNAPI double DEXP_at(const double* x);   // kernel DEXP$$

// ---- Trigonometry -----------------------------------------------------------
// Radians. At and beyond 2^63 in magnitude the processor leaves the argument
// unreduced, and the result is the argument; the result of an infinity is a NaN, of a NaN
// itself. Multiples of pi are taken off with a pi of 66 bits: see
// docs/accuracy.md for what that costs.
TARNAPI float SIN_at(const float* x);
TARNAPI float COS_at(const float* x);
TARNAPI float TAN_at(const float* x);
TARNAPI float ATAN_at(const float* x);
TARNAPI double DSIN_at(const double* x);
TARNAPI double DCOS_at(const double* x);
TARNAPI double DTAN_at(const double* x);
TARNAPI double DATAN_at(const double* x);
TARNAPI float ASIN_at(const float* x);                      // kernel ASIN$$
TARNAPI float ACOS_at(const float* x);                      // kernel ACOS$$
TARNAPI double DASIN_at(const double* x);                   // kernel DASIN$$
TARNAPI double DACOS_at(const double* x);                   // kernel DACOS$$
TARNAPI float ATAN2_at(const float* y, const float* x);     // kernel ATAN2V$
TARNAPI double DATN2_at(const double* y, const double* x);  // kernel DATAN2V$

// ---- Hyperbolic functions ------------------------------------------------
TARNAPI float SINH_at(const float* x);     // kernel SINH$$
TARNAPI float COSH_at(const float* x);     // kernel COSH$$
TARNAPI float TANH_at(const float* x);     // kernel TANH$$
TARNAPI double DSINH_at(const double* x);  // kernel DSINH$$
TARNAPI double DCOSH_at(const double* x);  // kernel DCOSH$$
TARNAPI double DTANH_at(const double* x);  // kernel DTANH$$

// ---- Square root -----------------------------------------------------------
// A negative argument raises the processor's invalid-operation exception, or
// returns a NaN where that is masked. The result of -0.0 is -0.0, of a quiet NaN itself.
TARNAPI float SQRT_at(const float* x);
TARNAPI double DSQRT_at(const double* x);

// ---- Remainder, truncation, rounding ---------------------------------------
TARNAPI float AMOD_at(const float* x, const float* y);     // kernel MOD$$
TARNAPI double DMOD_at(const double* x, const double* y);  // kernel DMOD$$
TARNAPI float AINT_at(const float* x);                     // kernel AINT$$
TARNAPI double DINT_at(const double* x);                   // kernel DAINT$$
// The truncation of x + 0.5 (x - 0.5 below zero), the sum in the argument's own
// precision: the result of the largest number below 0.5 is 1. Halves go away from zero.
// Infinities and quiet NaNs are returned as they are.
TARNAPI float ANINT_at(const float* x);
TARNAPI double DNINT_at(const double* x);
// The same to an integer, the sum in double: the low 16 or 32 bits of the
// 64-bit integer. Beyond 64 bits, and for a NaN, the processor raises
// invalid operation; where that is masked the result is 0.
TARNAPI std::int16_t ININT_at(const float* x);
TARNAPI std::int16_t IDNIN_at(const double* x);
TARNAPI std::int32_t JNINT_at(const float* x);
TARNAPI std::int32_t JDNIN_at(const double* x);

// ---- Absolute value ---------------------------------------------------------
// The most negative integer of each width stays as it is.
TARNAPI std::int8_t HABS_at(const std::int8_t* x);
TARNAPI std::int16_t IABS_at(const std::int16_t* x);
TARNAPI std::int32_t JABS_at(const std::int32_t* x);
TARNAPI float ABS_at(const float* x);  // clears the sign bit, of a NaN too
TARNAPI double DABS_at(const double* x);
TARNAPI float CABS_at(const float* z);     // kernel CABS$$
TARNAPI double CDABS_at(const double* z);  // kernel ZABS$$

// ---- Complex numbers ----------------------------------------------------------
// The imaginary part becomes 0 minus itself: of either zero it is +0.0.
TARNAPI Complex8 CONJ_at(const float* z);
TARNAPI Complex16 DCONJ_at(const double* z);
TARNAPI float AIMAG_at(const float* z);
TARNAPI double DIMAG_at(const double* z);

}  // namespace tarn
