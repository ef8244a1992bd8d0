#include "numerics/elementary.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "tests/support/program_control.h"

namespace {

using tarn::test::ProgramControl;

// Distance of `got` from the true value in units of the last place of `got`.
long double ulps(double got, long double truth) {
  const double size = std::fabs(got);
  const double unit = std::nextafter(size, std::numeric_limits<double>::infinity()) - size;
  return std::fabs(static_cast<long double>(got) - truth) / static_cast<long double>(unit);
}

// The same results whatever precision the thread's x87 unit was left in, within
// one unit of the last place.
TEST(Elementary, ResultsAreCloseAndDoNotDependOnTheControlWord) {
  std::mt19937_64 random(1);
  std::uniform_real_distribution<double> exponent(-708.0, 708.0);
  std::uniform_real_distribution<double> power(-100.0, 100.0);
  for (int i = 0; i < 20000; ++i) {
    const double x = exponent(random);
    const double positive = std::exp(x);
    const double y = power(random) / (std::fabs(x) / 7 + 1);
    double results[2][4];
    for (const std::uint16_t control : {std::uint16_t{0x027F}, std::uint16_t{0x037F}}) {
      const ProgramControl program(control);
      double(&r)[4] = results[control == 0x037F];
      r[1] = tarn::log(positive);
      r[2] = tarn::log10(positive);
      r[0] = tarn::exp(x);
      r[3] = tarn::pow(positive, y);
    }
    const long double wide = positive;
    const long double truth[] = {std::exp(static_cast<long double>(x)), std::log(wide),
                                 std::log10(wide), std::pow(wide, static_cast<long double>(y))};
    for (int k = 0; k < 4; ++k) {
      EXPECT_EQ(std::bit_cast<std::uint64_t>(results[0][k]),
                std::bit_cast<std::uint64_t>(results[1][k]))
          << k << " of " << x;
      EXPECT_LT(ulps(results[1][k], truth[k]), 1.0L) << k << " of " << x << ", " << y;
    }
  }
}

}  // namespace
