// Steps of the x87 unit in 80-bit precision, from which the elementary
// functions of the library and of its sibling are built. Results are the same
// on both targets since the instructions are the same; the including module
// controls the unit.
//
// Loads are volatile and so keep their order with changes of the control word;
// arithmetic on a loaded value therefore runs under the word that was set before
// the load.
#pragma once

#include <cstdint>

namespace tarn {

using Extended = long double;
static_assert(__LDBL_MANT_DIG__ == 64);

#define TARN_X87 [[gnu::always_inline]] static inline

// By reference, so that an argument in memory is loaded from there.
TARN_X87 Extended x87_load(const double& x) {
  Extended value;
  asm volatile("fldl %1" : "=t"(value) : "m"(x));
  return value;
}

TARN_X87 Extended x87_load(const float& x) {
  Extended value;
  asm volatile("flds %1" : "=t"(value) : "m"(x));
  return value;
}

// Rounded once.
TARN_X87 void x87_store(Extended value, double* result) {
  asm volatile("fstpl %0" : "=m"(*result) : "t"(value) : "st");
}

TARN_X87 void x87_store(Extended value, float* result) {
  asm volatile("fstps %0" : "=m"(*result) : "t"(value) : "st");
}

// y * log2(x)
TARN_X87 Extended x87_ylog2(Extended y, Extended x) {
  Extended result;
  asm volatile("fyl2x" : "=t"(result) : "0"(x), "u"(y) : "st(1)");
  return result;
}

// y * log2(x + 1), |x| < 1 - sqrt(1/2)
TARN_X87 Extended x87_ylog2p1(Extended y, Extended x) {
  Extended result;
  asm("fyl2xp1" : "=t"(result) : "0"(x), "u"(y) : "st(1)");
  return result;
}

// 2^x - 1, |x| <= 1
TARN_X87 Extended x87_exp2m1(Extended x) {
  Extended result;
  asm("f2xm1" : "=t"(result) : "0"(x));
  return result;
}

// x * 2^trunc(n)
TARN_X87 Extended x87_scale(Extended x, Extended n) {
  Extended result;
  asm("fscale" : "=t"(result) : "0"(x), "u"(n));
  return result;
}

// Angle of the point (x, y).
TARN_X87 Extended x87_atan2(Extended y, Extended x) {
  Extended result;
  asm("fpatan" : "=t"(result) : "0"(x), "u"(y) : "st(1)");
  return result;
}

// Rounds to an integer as the control word says.
TARN_X87 Extended x87_integer(Extended x) {
  Extended result;
  asm volatile("frndint" : "=t"(result) : "0"(x));
  return result;
}

TARN_X87 Extended x87_sqrt(Extended x) {
  Extended result;
  asm("fsqrt" : "=t"(result) : "0"(x));
  return result;
}

// x - y * trunc(x / y), exact: each step takes up to 63 bits off the quotient.
TARN_X87 Extended x87_remainder(Extended x, Extended y) {
  Extended result;
  asm volatile(
      "1: fprem\n\t"
      "fnstsw %%ax\n\t"
      "testb $4, %%ah\n\t"
      "jnz 1b"
      : "=t"(result)
      : "0"(x), "u"(y)
      : "ax", "cc");
  return result;
}

// x = significand * 2^exponent, 1 <= |significand| < 2
TARN_X87 void x87_extract(Extended x, Extended* significand, Extended* exponent) {
  asm("fxtract" : "=t"(*significand), "=u"(*exponent) : "0"(x));
}

}  // namespace tarn
