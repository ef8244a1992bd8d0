// How the elementary functions control the x87 unit. Private to the room.
#pragma once

#include "platform/x87.h"

namespace tarn {

// Control words: 64-bit precision, all exceptions masked but overflow.
inline constexpr std::uint16_t kX87Nearest = 0x0377;
inline constexpr std::uint16_t kX87TowardZero = 0x0F77;

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

// Rounds once. An unmasked overflow traps here and not at some later x87
// instruction.
TARN_X87 double x87_double(Extended value) {
  double result;
  asm volatile("fstpl %0\n\tfwait" : "=m"(result) : "t"(value) : "st");
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
