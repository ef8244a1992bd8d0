#include "tests/unit/host/failing_platform.h"

#include "platform/platform.h"

namespace tarn::test {
namespace {

using namespace tarn::platform;

constexpr std::uint64_t kZero = 0;  // null, false, no bytes
constexpr std::uint64_t kAllOnes = ~std::uint64_t{0};
constexpr std::uint64_t kAllOnes32 = 0xFFFFFFFF;
constexpr std::uint64_t kDenied = kErrorAccessDenied;  // the result is the error code

}  // namespace

const PlatformOperation platform_operations[kPlatformOperations] = {
#define OPERATION(name, link_name, failure, error) {#name, failure, error, true},
#define NOT_ON_HOST(name, link_name, failure, error) {#name, failure, error, false},
#define CANNOT_FAIL(name)
#include "tests/unit/host/platform_operations.inc"
#undef OPERATION
#undef NOT_ON_HOST
#undef CANNOT_FAIL
};

Injection* injection;

// Called by the trampolines: 1 if this call fails, with what it gives.
extern "C" TARNAPI std::uint64_t tarn_test_call_fails(std::uint32_t operation,
                                                      std::uint64_t* result) {
  if (!injection || !injection->armed) return 0;
  const std::uint32_t call = __atomic_add_fetch(&injection->calls[operation], 1, __ATOMIC_RELAXED);
  if (static_cast<int>(operation) != injection->operation || call < injection->first ||
      call > injection->last) {
    return 0;
  }
  __atomic_add_fetch(&injection->failures, 1, __ATOMIC_RELAXED);
  SetLastError(platform_operations[operation].error);
  *result = platform_operations[operation].failure;
  return 1;
}

}  // namespace tarn::test
