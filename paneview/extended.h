// 80-bit precision for the elementary functions: every evaluation runs between
// enter_extended and leave_extended, and the compiler keeps it there.
#pragma once

#include "platform/x87.h"

namespace paneview {

using tarn::Extended;
using tarn::x87_atan2;
using tarn::x87_exp2m1;
using tarn::x87_extract;
using tarn::x87_integer;
using tarn::x87_load;
using tarn::x87_remainder;
using tarn::x87_scale;
using tarn::x87_sqrt;
using tarn::x87_store;
using tarn::x87_ylog2;
using tarn::x87_ylog2p1;

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

}  // namespace paneview
