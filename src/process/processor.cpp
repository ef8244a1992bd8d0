#include "process/processor.h"

#include "platform/platform.h"

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
  const std::uint32_t features = platform::processor_leaf(1).ecx;
  if ((features & kAvxAndEnabledXsave) != kAvxAndEnabledXsave) return 0;
  std::uint32_t low, high;
  asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return (low & kXmmAndYmmState) == kXmmAndYmmState;
}

bool has_avx2() {
  constexpr std::uint32_t kFeatureLeaf = 7;
  constexpr std::uint32_t kAvx2 = 1 << 5;  // of ebx
  // A processor with AVX has the leaf.
  return isAVXSupported() && (platform::processor_leaf(kFeatureLeaf).ebx & kAvx2);
}

}  // namespace tarn
