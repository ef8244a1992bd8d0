#include "process/processor.h"

#include <cpuid.h>

namespace tarn {
namespace {

// A DLL whose script demands AVX is entered by the loader before any program's
// script brings the library up. The library's own script runs before either
// and calls this, so that __test_avx has its answer by then.
[[gnu::constructor]] void find_out_avx() { tarn_avx_supported = isAVXSupported(); }

}  // namespace

extern "C" {
std::int32_t tarn_avx_supported;
}

std::int32_t isAVXSupported() {
  constexpr std::uint32_t kAvxAndEnabledXsave = 0x18000000;  // leaf 1, ecx
  constexpr std::uint32_t kXmmAndYmmState = 6;               // XCR0
  // Not __get_cpuid, which asks for the highest leaf too: each is a trap where the machine
  // is a virtual one.
  std::uint32_t a, b, c, d;
  __cpuid(1, a, b, c, d);
  if ((c & kAvxAndEnabledXsave) != kAvxAndEnabledXsave) return 0;
  asm volatile("xgetbv" : "=a"(a), "=d"(d) : "c"(0));
  return (a & kXmmAndYmmState) == kXmmAndYmmState;
}

bool has_avx2() {
  constexpr std::uint32_t kFeatureLeaf = 7;
  constexpr std::uint32_t kAvx2 = 1 << 5;  // of ebx
  std::uint32_t a = 0, b = 0, c = 0, d = 0;
  return isAVXSupported() && __get_cpuid_count(kFeatureLeaf, 0, &a, &b, &c, &d) && (b & kAvx2);
}

}  // namespace tarn
