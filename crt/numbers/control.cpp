// The floating-point control in the words of float.h: SSE and x87 have the same.
#include <float.h>
#include <xmmintrin.h>

#include "../crt.h"

namespace {

struct Row {
  unsigned word;  // of float.h
  unsigned mxcsr;
  unsigned short x87;
};

constexpr Row kExceptions[] = {
    {_EM_INVALID, 0x80, 0x01},   {_EM_DENORMAL, 0x100, 0x02},  {_EM_ZERODIVIDE, 0x200, 0x04},
    {_EM_OVERFLOW, 0x400, 0x08}, {_EM_UNDERFLOW, 0x800, 0x10}, {_EM_INEXACT, 0x1000, 0x20},
};
constexpr Row kRounding[] = {{_RC_NEAR, 0, 0},
                             {_RC_DOWN, 0x2000, 0x400},
                             {_RC_UP, 0x4000, 0x800},
                             {_RC_CHOP, 0x6000, 0xC00}};
constexpr unsigned kPlaces[][2] = {{_PC_64, 0x300}, {_PC_53, 0x200}, {_PC_24, 0}};

unsigned short x87_control() {
  unsigned short control;
  __asm__ volatile("fnstcw %0" : "=m"(control));
  return control;
}

unsigned control_now() {
  const unsigned mxcsr = _mm_getcsr(), x87 = x87_control();
  unsigned word = 0;
  for (const Row& row : kExceptions) {
    if (mxcsr & row.mxcsr) word |= row.word;
  }
  for (const Row& row : kRounding) {
    if ((mxcsr & 0x6000) == row.mxcsr) word |= row.word;
  }
  for (const auto& places : kPlaces) {
    if ((x87 & 0x300) == places[1]) word |= places[0];
  }
  return word;
}

void set_control(unsigned word) {
  unsigned mxcsr = _mm_getcsr() & ~0x7F80u;
  unsigned x87 = x87_control() & ~0xF3Fu;
  for (const Row& row : kExceptions) {
    if (word & row.word) mxcsr |= row.mxcsr, x87 |= row.x87;
  }
  for (const Row& row : kRounding) {
    if ((word & _MCW_RC) == row.word) mxcsr |= row.mxcsr, x87 |= row.x87;
  }
  for (const auto& places : kPlaces) {
    if ((word & _MCW_PC) == places[0]) x87 |= places[1];
  }
  const auto control = static_cast<unsigned short>(x87);
  __asm__ volatile("fnclex\n\tfldcw %0" : : "m"(control));
  _mm_setcsr(mxcsr & ~0x3Fu);
}

unsigned status_now() {
  unsigned short x87;
  __asm__ volatile("fnstsw %0" : "=m"(x87));
  const unsigned raised = _mm_getcsr() | x87;
  unsigned word = 0;
  for (const Row& row : kExceptions) {  // a flag has its mask's number
    if (raised & row.x87) word |= row.word;
  }
  return word;
}

}  // namespace

extern "C" {
unsigned _control87(unsigned word, unsigned mask) {
  if (mask != 0) set_control((control_now() & ~mask) | (word & mask));
  return control_now();
}
// Leaves the denormal mask alone.
unsigned _controlfp(unsigned word, unsigned mask) { return _control87(word, mask & ~_EM_DENORMAL); }
errno_t _controlfp_s(unsigned* result, unsigned word, unsigned mask) {
  const unsigned control = _controlfp(word, mask);
  if (result) *result = control;
  return 0;
}
unsigned _statusfp(void) { return status_now(); }
unsigned _clearfp(void) {
  const unsigned status = status_now();
  __asm__ volatile("fnclex");
  _mm_setcsr(_mm_getcsr() & ~0x3Fu);
  return status;
}
int _fpclass(double value) {
  const auto bits = __builtin_bit_cast(unsigned long long, value);
  const bool negative = bits >> 63;
  const unsigned exponent = bits >> 52 & 0x7FF;
  const unsigned long long fraction = bits << 12;
  if (exponent == 0x7FF && fraction != 0) return fraction >> 63 ? _FPCLASS_QNAN : _FPCLASS_SNAN;
  if (exponent == 0x7FF) return negative ? _FPCLASS_NINF : _FPCLASS_PINF;
  if (exponent != 0) return negative ? _FPCLASS_NN : _FPCLASS_PN;
  if (fraction != 0) return negative ? _FPCLASS_ND : _FPCLASS_PD;
  return negative ? _FPCLASS_NZ : _FPCLASS_PZ;
}
}
