// Steps of the x87 unit in 80-bit precision, of which the elementary functions
// consist. Results are the same on both targets since the instructions are the same.
//
// Loads are volatile and so keep their order with changes of the control word;
// arithmetic on a loaded value therefore runs under the word that was set before
// the load. Private to the room.
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

// x = integer + rest, rounded to the integer as the control word says. In one piece, as the
// compiler would copy the integer.
TARN_X87 void x87_split(Extended x, Extended* integer, Extended* rest) {
  asm volatile("fld %%st\n\tfrndint\n\tfsubr %%st, %%st(1)" : "=t"(*integer), "=u"(*rest) : "0"(x));
}

// x = significand * 2^exponent, 1 <= |significand| < 2
TARN_X87 void x87_extract(Extended x, Extended* significand, Extended* exponent) {
  asm("fxtract" : "=t"(*significand), "=u"(*exponent) : "0"(x));
}

// Control words: 64-bit precision, all exceptions masked but overflow.
inline constexpr std::uint16_t kX87Nearest = 0x0377;
inline constexpr std::uint16_t kX87TowardZero = 0x0F77;

// Sets kX87Nearest, which then stays. An overflow flag left from the time when
// overflow was masked is cleared: it would trap at the next x87 instruction.
TARN_X87 void x87_set_nearest() {
  std::uint16_t control;
  asm volatile("fnstcw %0" : "=m"(control));
  if (__builtin_expect(control == kX87Nearest, 1)) return;
  asm volatile(
      "fnstsw %%ax\n\t"
      "testb $8, %%al\n\t"
      "jz 1f\n\t"
      "fnclex\n"
      "1: fldcw %0"
      :
      : "m"(kX87Nearest)
      : "ax", "cc");
}

// Rounded once, for a value that is no larger than a double or float: no overflow
// has to be waited for.
TARN_X87 double x87_double(Extended value) {
  double result;
  x87_store(value, &result);
  return result;
}

TARN_X87 float x87_single(Extended value) {
  float result;
  x87_store(value, &result);
  return result;
}

// Toward zero; leaves kX87Nearest.
TARN_X87 Extended x87_truncate(Extended x) {
  Extended result;
  asm volatile("fldcw %2\n\tfrndint\n\tfldcw %3"
               : "=t"(result)
               : "0"(x), "m"(kX87TowardZero), "m"(kX87Nearest));
  return result;
}

}  // namespace tarn
