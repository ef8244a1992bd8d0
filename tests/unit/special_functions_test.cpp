#include "numerics/special_functions.h"
#include "process/raising.h"

#include <gtest/gtest.h>

#include <bit>
#include <random>

#include "tests/support/program_control.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::ProgramControl;
using tarn::test::raised_by;

constexpr std::int64_t kMissing = 29;
constexpr std::int64_t kNothing = -1;

using OneArgument = double(TARNAPI*)(const double*);
using WithOrder = double(TARNAPI*)(const std::int32_t*, const double*);

bool without_slatec() {
  const double half = 0.5;
  return raised_by([&] { tarn::DGAMMA(&half); }).number == kMissing;
}

#define SKIP_WITHOUT_SLATEC() \
  if (without_slatec()) GTEST_SKIP() << "built without the SLATEC routines"

// Arguments of every size and sign under a program's traps: a finite value or
// the one error, nothing else. Fewer of them under Wine, where raising is dear.
#ifdef _WIN32
constexpr int kRounds = 20;
#else
constexpr int kRounds = 120;
#endif

TEST(GammaAndBessel, NoArgumentFaults) {
  SKIP_WITHOUT_SLATEC();
  std::mt19937_64 random(5);
  const ProgramControl program;
  const auto argument = [&](int i) {
    const std::uint64_t anything = random();
    if (i % 4 == 0) return std::bit_cast<double>(anything);
    return static_cast<double>(static_cast<std::int64_t>(anything)) * 0x1p-63 *
           (i % 4 == 1   ? 1.0
            : i % 4 == 2 ? 50.0
                         : 2000.0);
  };
  const auto finite = [](double x) {
    return (std::bit_cast<std::uint64_t>(x) >> 52 & 0x7FF) < 0x7FF;
  };
  for (const OneArgument routine :
       {tarn::DERF, tarn::DERFC, tarn::DERFC_SCALED, tarn::DGAMMA, tarn::DLOG_GAMMA,
        tarn::DBESSEL_J0, tarn::DBESSEL_J1, tarn::DBESSEL_Y0, tarn::DBESSEL_Y1}) {
    for (int i = 0; i < kRounds; ++i) {
      const double x = argument(i);
      double got = 0;
      const auto raised = raised_by([&] { got = routine(&x); });
      ASSERT_TRUE(raised.number == kNothing ? finite(got)
                                            : raised.number == tarn::TARN_ERROR_NUMERIC_ARGUMENT)
          << std::bit_cast<std::uint64_t>(x) << " gave " << raised.number;
    }
  }
  for (const WithOrder routine : {tarn::DBESSEL_JN, tarn::DBESSEL_YN}) {
    for (int i = 0; i < kRounds * 3; ++i) {
      const double x = argument(i);
      const std::int32_t n = static_cast<std::int32_t>(random()) >> (random() % 32);
      double got = 0;
      const auto raised = raised_by([&] { got = routine(&n, &x); });
      ASSERT_TRUE(raised.number == kNothing ? finite(got)
                                            : raised.number == tarn::TARN_ERROR_NUMERIC_ARGUMENT)
          << n << " at " << std::bit_cast<std::uint64_t>(x) << " gave " << raised.number;
    }
  }
}

TEST(MachineConstantsDeathTest, ABadIndexOfAnIntegerStopsTheProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const std::int32_t i : {0, 17})
    EXPECT_EXIT(tarn::I1MACH(&i), testing::ExitedWithCode(0), "");
}

}  // namespace
