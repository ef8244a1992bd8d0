// x87 arithmetic in 80-bit precision, for the elementary functions. Results
// are the same on both targets since the instructions are the same.
//
// Every evaluation runs between enter_extended and leave_extended; load and
// store are volatile, so that the compiler keeps the arithmetic between them.
#pragma once

#include <cstdint>

namespace paneview {

using Extended = long double;
static_assert(__LDBL_MANT_DIG__ == 64);

#define PANEVIEW_INLINE [[gnu::always_inline]] static inline

// Round to nearest, 64-bit precision, all exceptions masked.
inline constexpr std::uint16_t kExtendedControl = 0x037F;
inline constexpr std::uint32_t kX87Exceptions = 0x3F;

PANEVIEW_INLINE std::uint16_t enter_extended() {
  std::uint16_t control;
  asm volatile("fnstcw %0" : "=m"(control));
  if (control != kExtendedControl) asm volatile("fldcw %0" : : "m"(kExtendedControl));
  return control;
}

// Exceptions that were flagged in between are cleared if `control` unmasks
// them: they would trap at the caller's next x87 instruction.
PANEVIEW_INLINE void leave_extended(std::uint16_t control) {
  if (control == kExtendedControl) return;
  std::uint16_t status;
  asm volatile("fnstsw %0" : "=a"(status));
  if ((status & ~control & kX87Exceptions) != 0) asm volatile("fnclex");
  asm volatile("fldcw %0" : : "m"(control));
}

PANEVIEW_INLINE Extended load(float x) {
  Extended value;
  asm volatile("flds %1" : "=t"(value) : "m"(x));
  return value;
}

PANEVIEW_INLINE Extended load(double x) {
  Extended value;
  asm volatile("fldl %1" : "=t"(value) : "m"(x));
  return value;
}

PANEVIEW_INLINE void store(Extended value, float* result) {
  asm volatile("fstps %0" : "=m"(*result) : "t"(value) : "st");
}

PANEVIEW_INLINE void store(Extended value, double* result) {
  asm volatile("fstpl %0" : "=m"(*result) : "t"(value) : "st");
}

// y * log2(x)
PANEVIEW_INLINE Extended x87_ylog2(Extended y, Extended x) {
  Extended result;
  asm("fyl2x" : "=t"(result) : "0"(x), "u"(y) : "st(1)");
  return result;
}

// y * log2(x + 1), |x| < 1 - sqrt(1/2)
PANEVIEW_INLINE Extended x87_ylog2p1(Extended y, Extended x) {
  Extended result;
  asm("fyl2xp1" : "=t"(result) : "0"(x), "u"(y) : "st(1)");
  return result;
}

// 2^x - 1, |x| <= 1
PANEVIEW_INLINE Extended x87_exp2m1(Extended x) {
  Extended result;
  asm("f2xm1" : "=t"(result) : "0"(x));
  return result;
}

// x * 2^trunc(n)
PANEVIEW_INLINE Extended x87_scale(Extended x, Extended n) {
  Extended result;
  asm("fscale" : "=t"(result) : "0"(x), "u"(n));
  return result;
}

// Angle of the point (x, y).
PANEVIEW_INLINE Extended x87_atan2(Extended y, Extended x) {
  Extended result;
  asm("fpatan" : "=t"(result) : "0"(x), "u"(y) : "st(1)");
  return result;
}

PANEVIEW_INLINE Extended x87_round(Extended x) {
  Extended result;
  asm("frndint" : "=t"(result) : "0"(x));
  return result;
}

PANEVIEW_INLINE Extended x87_sqrt(Extended x) {
  Extended result;
  asm("fsqrt" : "=t"(result) : "0"(x));
  return result;
}

// x - y * trunc(x / y), exact: each step takes up to 63 bits off the quotient.
PANEVIEW_INLINE Extended x87_remainder(Extended x, Extended y) {
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
PANEVIEW_INLINE void x87_extract(Extended x, Extended* significand, Extended* exponent) {
  asm("fxtract" : "=t"(*significand), "=u"(*exponent) : "0"(x));
}

}  // namespace paneview
