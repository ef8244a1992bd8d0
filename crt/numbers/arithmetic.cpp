#include "arithmetic.h"

#include <float.h>

#include "../crt.h"

extern "C" {
// 1 in a program that was linked with --trap, whose object comes before the archive.
extern const int tarn_program_traps;
}

namespace crt {

// The start-up script has set the library's arithmetic. In IEEE arithmetic small values lose
// precision gradually.
void set_arithmetic() {
  constexpr unsigned kMxcsrAtStart = 0x1F80;
  constexpr unsigned short kX87AtStart = 0x037F;
  if (tarn_program_traps) return;
  __asm__ volatile("fninit\n\tfldcw %0\n\tldmxcsr %1" : : "m"(kX87AtStart), "m"(kMxcsrAtStart));
}

}  // namespace crt

CRT_API void(_fpreset)(void) { crt::set_arithmetic(); }
