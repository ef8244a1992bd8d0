// rand_s: the processor's random numbers.
#define _CRT_RAND_S
#include <cpuid.h>
#include <stdlib.h>

#include "../crt.h"

namespace {

bool has_rdrand() {
  unsigned a, b, c, d;
  return __get_cpuid(1, &a, &b, &c, &d) && (c & bit_RDRND);
}

}  // namespace

CRT_API errno_t rand_s(unsigned* value) {
  constexpr int kAttempts = 10;
  if (!value || !has_rdrand()) return errno = EINVAL;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    unsigned char done;
    __asm__ volatile("rdrand %0\n\tsetc %1" : "=r"(*value), "=qm"(done));
    if (done) return 0;
  }
  return errno = EAGAIN;
}
