// What happens when address space is short: only the native target can take it
// away from the process.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <fstream>

#include "platform/platform.h"
#include "storage/secondary_stack.h"
#include "tests/support/raised.h"

namespace {

using tarn::secondary_stack;

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;

// While it lives, the process may take `headroom` further bytes of address space.
class AddressSpaceLimit {
 public:
  explicit AddressSpaceLimit(std::uint64_t headroom) {
    std::uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    getrlimit(RLIMIT_AS, &before_);
    const rlimit limit{pages * 4096 + headroom, before_.rlim_max};
    setrlimit(RLIMIT_AS, &limit);
  }
  ~AddressSpaceLimit() { setrlimit(RLIMIT_AS, &before_); }

 private:
  rlimit before_{};
};

TEST(Reservation, IsHalvedUntilItFitsAndEndsInAFaultBelow64MiB) {
  tarn::test::initialise();
  const struct {
    std::uint64_t headroom, reservation;
  } cases[] = {{3072 * kMiB, 2048 * kMiB}, {1500 * kMiB, 1024 * kMiB}, {100 * kMiB, 64 * kMiB}};
  for (const auto& c : cases) {
    secondary_stack.reservation = 8192 * kMiB;
    {
      const AddressSpaceLimit limit(c.headroom);
      tarn::__init_pseudo_stack();
    }
    EXPECT_EQ(secondary_stack.reservation, c.reservation);
    EXPECT_LT(secondary_stack.size, c.reservation);
    static_cast<char*>(tarn::__alloc_pseudo_stack(100'000))[0] = 1;
  }
  secondary_stack.reservation = 8192 * kMiB;
  tarn::test::Fault fault;
  {
    const AddressSpaceLimit limit(40 * kMiB);
    fault = tarn::test::fault_by([] { tarn::__init_pseudo_stack(); });
  }
  EXPECT_EQ(fault.code, tarn::platform::kExceptionAccessViolation);
  EXPECT_EQ(fault.access, 1u);
  EXPECT_EQ(fault.address, 0u);
}

}  // namespace
