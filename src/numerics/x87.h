// The x87 steps of the elementary functions. Private to the room.
//
// Loads and stores are volatile and so keep their order with the changes of
// the control word; arithmetic on a loaded value therefore runs under the word
// that was set before the load.
#pragma once

#include <cstdint>

namespace tarn {

using Extended = long double;
static_assert(__LDBL_MANT_DIG__ == 64);

// Control words: 64-bit precision, all exceptions masked but overflow.
inline constexpr std::uint16_t kX87Nearest = 0x0377;
inline constexpr std::uint16_t kX87Down = 0x0777;
inline constexpr std::uint16_t kX87TowardZero = 0x0F77;

#define TARN_X87 [[gnu::always_inline]] static inline

// Sets kX87Nearest, which then stays. An overflow flag left from the time when
// overflow was masked is cleared: it would trap at the next x87 instruction.
TARN_X87 void x87_set_nearest() {
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

// Rounds once. An unmasked overflow traps here and not at some later x87
// instruction.
TARN_X87 double x87_double(Extended value) {
  double result;
  asm volatile("fstpl %0\n\tfwait" : "=m"(result) : "t"(value) : "st");
  return result;
}

// For a value that is no larger than a double or float.
TARN_X87 double x87_fitting_double(Extended value) {
  double result;
  asm("fstpl %0" : "=m"(result) : "t"(value) : "st");
  return result;
}

TARN_X87 float x87_fitting_single(Extended value) {
  float result;
  asm("fstps %0" : "=m"(result) : "t"(value) : "st");
  return result;
}

TARN_X87 float x87_single(Extended value) {
  float result;
  asm volatile("fstps %0\n\tfwait" : "=m"(result) : "t"(value) : "st");
  return result;
}

// To an integer in the direction of `control`; leaves kX87Nearest.
TARN_X87 Extended x87_round(Extended x, const std::uint16_t& control) {
  Extended result;
  asm volatile("fldcw %2\n\tfrndint\n\tfldcw %3"
               : "=t"(result)
               : "0"(x), "m"(control), "m"(kX87Nearest));
  return result;
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

}  // namespace tarn
