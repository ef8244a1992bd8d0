#include "numerics/elementary.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "numerics/intrinsics.h"
#include "paneview/paneview.h"
#include "process/process_state.h"
#include "tests/support/program_control.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::ProgramControl;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kTiny = std::numeric_limits<double>::denorm_min();
constexpr float kNanSingle = std::numeric_limits<float>::quiet_NaN();

constexpr std::uint32_t kInvalid = 0xC0000090;
constexpr std::uint32_t kOverflow = 0xC0000091;

std::uint16_t x87_control() {
  std::uint16_t control;
  asm volatile("fnstcw %0" : "=m"(control));
  return control;
}

bool x87_stack_is_empty() {
  std::uint8_t environment[28];
  asm volatile("fnstenv %0\n\tfldenv %0" : "+m"(environment));
  return environment[8] == 0xFF && environment[9] == 0xFF;
}

template <class Integer, class Real>
Integer bits(Real x) {
  return std::bit_cast<Integer>(x);
}
std::uint64_t bits(double x) { return bits<std::uint64_t>(x); }

// Distance of `got` from the true value in units of the last place of `got`.
template <class Real>
long double ulps(Real got, long double truth) {
  const Real size = std::fabs(got);
  const Real unit = std::nextafter(size, std::numeric_limits<Real>::infinity()) - size;
  return std::fabs(static_cast<long double>(got) - truth) / static_cast<long double>(unit);
}

double ldexp_of(double x, double n) { return tarn::ldexp(x, static_cast<std::int32_t>(n)); }
double xxjj_of(double x, double n) { return tarn::__xxjj(x, static_cast<std::int64_t>(n)); }
double exp_of(double x, double) { return tarn::exp(x); }
double log_of(double x, double) { return tarn::log(x); }
double log10_of(double x, double) { return tarn::log10(x); }
double pow_of(double x, double y) { return tarn::pow(x, y); }
double xxdd_of(double x, double y) { return tarn::__xxdd(x, y); }

constexpr std::int32_t kUntouched = 77;

TEST(Elementary, EndsOfTheDomainsGiveTheirValuesAndErrno) {
  const struct {
    const char* name;
    double (*function)(double, double);
    double x, y, expected;
    std::int32_t error;
  } cases[] = {
      {"exp", exp_of, 709.0, 0, 1e308, tarn::kErrnoRange},
      {"exp", exp_of, kInfinity, 0, 1e308, tarn::kErrnoRange},
      {"exp", exp_of, -800.0, 0, 0.0, kUntouched},
      {"exp", exp_of, -kInfinity, 0, 0.0, kUntouched},
      {"exp", exp_of, kNan, 0, 1e308, tarn::kErrnoDomain},
      {"exp", exp_of, 0.0, 0, 1.0, kUntouched},
      {"exp", exp_of, -1e-30, 0, 1.0, kUntouched},
      {"log", log_of, -1.0, 0, 1e308, tarn::kErrnoDomain},
      {"log", log_of, -kInfinity, 0, 1e308, tarn::kErrnoDomain},
      {"log", log_of, kNan, 0, 1e308, tarn::kErrnoDomain},
      {"log", log_of, 0.0, 0, -1e308, tarn::kErrnoRange},
      {"log", log_of, -0.0, 0, -1e308, tarn::kErrnoRange},
      {"log", log_of, kInfinity, 0, kInfinity, kUntouched},
      {"log", log_of, 1.0, 0, 0.0, kUntouched},
      {"log10", log10_of, -kTiny, 0, 1e308, tarn::kErrnoDomain},
      {"log10", log10_of, 0.0, 0, -1e308, tarn::kErrnoRange},
      {"log10", log10_of, 1000.0, 0, 3.0, kUntouched},
      {"log10", log10_of, kTiny, 0, -323.3062153431158, kUntouched},
      {"pow", pow_of, 0.0, 0.0, 1e308, tarn::kErrnoDomain},
      {"pow", pow_of, -0.0, -2.0, 1e308, tarn::kErrnoDomain},
      {"pow", pow_of, 0.0, 2.0, 0.0, 0},
      {"pow", pow_of, -2.0, 0.5, 1e308, tarn::kErrnoDomain},
      {"pow", pow_of, -2.0, kInfinity, 1e308, tarn::kErrnoDomain},
      {"pow", pow_of, kNan, 1.0, 1e308, tarn::kErrnoDomain},
      {"pow", pow_of, 1.0, kNan, 1e308, tarn::kErrnoDomain},
      {"pow", pow_of, kInfinity, 0.0, 1e308, tarn::kErrnoDomain},
      {"pow", pow_of, 2.0, 0.0, 1.0, 0},
      {"pow", pow_of, 2.0, 0.5, 1.4142135623730951, 0},
      {"pow", pow_of, 2.0, 10.0, 1024.0, 0},
      {"pow", pow_of, 1e300, 2.0, 1e308, tarn::kErrnoRange},
      {"pow", pow_of, 2.0, kInfinity, 1e308, tarn::kErrnoRange},
      {"pow", pow_of, 2.0, -kInfinity, 0.0, 0},
      {"pow", pow_of, 1e-300, 2.0, 0.0, 0},
      {"pow", pow_of, -2.0, 3.0, -8.0, kUntouched},
      {"pow", pow_of, -2.0, -2.0, 0.25, kUntouched},
      {"pow", pow_of, -1.0, 4294967297.0, -1.0, 0},
      {"pow", pow_of, -1.0, 1e300, 1.0, 0},
      {"pow", pow_of, -3.0, -4294967297.0, -0.0, 0},
      {"__xxdd", xxdd_of, -1.0, 2.0, 1e308, 1},
      {"__xxdd", xxdd_of, 0.0, 0.0, 1e308, 1},
      {"__xxdd", xxdd_of, 2.0, 1024.0, 1e308, 2},
      {"__xxdd", xxdd_of, 2.0, -1022.0, 0.0, kUntouched},  // not above the smallest normal
      {"__xxdd", xxdd_of, 2.0, -1021.0, 0x1p-1021, kUntouched},
      {"__xxjj", xxjj_of, 0.0, 0.0, 1e308, tarn::kErrnoDomain},
      {"__xxjj", xxjj_of, -0.0, -1.0, 1e308, tarn::kErrnoDomain},
      {"__xxjj", xxjj_of, 7.0, 0.0, 1.0, kUntouched},
      {"__xxjj", xxjj_of, 2.0, -3.0, 0.125, kUntouched},
      {"__xxjj", xxjj_of, 1.0, -0x1p63, 1.0, kUntouched},
      {"ldexp", ldexp_of, 0.75, 4.0, 12.0, kUntouched},
      {"ldexp", ldexp_of, 1.0, -1074.0, kTiny, kUntouched},
      {"ldexp", ldexp_of, -kInfinity, 3.0, -kInfinity, kUntouched},
  };
  for (const auto& c : cases) {
    tarn::set_errno(kUntouched);
    double got;
    {
      const ProgramControl program;
      got = c.function(c.x, c.y);
    }
    EXPECT_EQ(bits(got), bits(c.expected)) << c.name << "(" << c.x << ", " << c.y << "): " << got;
    EXPECT_EQ(tarn::get_errno(), c.error) << c.name << "(" << c.x << ", " << c.y << ")";
    EXPECT_TRUE(x87_stack_is_empty()) << c.name;
  }
}

TEST(Elementary, PartsOfANumber) {
  const struct {
    double x, fraction;
    std::int32_t exponent;
    double integral, rest;
  } cases[] = {
      {8.0, 0.5, 4, 8.0, 0.0},
      {-3.0, -0.75, 2, -3.0, 0.0},
      {-2.75, -0.6875, 2, -2.0, -0.75},
      {kTiny, 0.5, -1073, 0.0, kTiny},
      {0x1.fffffffffffffp1023, 0x1.fffffffffffffp-1, 1024, 0x1.fffffffffffffp1023, 0.0},
      {0.0, 0.0, 0, 0.0, 0.0},
      {-0.0, 0.0, 0, -0.0, 0.0},
      {kInfinity, kInfinity, 0, kInfinity, kNan},
      {kNan, kNan, 0, kNan, kNan},
  };
  for (const auto& c : cases) {
    std::int32_t exponent = -1;
    double integral = -1;
    double fraction, rest;
    {
      const ProgramControl program;
      fraction = tarn::frexp(c.x, &exponent);
      rest = tarn::modf(c.x, &integral);
    }
    EXPECT_EQ(exponent, c.exponent) << c.x;
    const double got[] = {fraction, integral, rest};
    const double expected[] = {c.fraction, c.integral, c.rest};
    for (int i = 0; i < 3; ++i) {
      if (std::isnan(expected[i])) {
        EXPECT_TRUE(std::isnan(got[i])) << c.x << " part " << i;
      } else {
        EXPECT_EQ(bits(got[i]), bits(expected[i])) << c.x << " part " << i;
      }
    }
  }
  EXPECT_EQ(tarn::abs(-5), 5);
  EXPECT_EQ(tarn::labs(INT32_MIN), INT32_MIN);
}

// The same results whatever precision the thread's x87 unit was left in, within
// one unit of the last place; exp, modf and pow leave their control word.
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
      EXPECT_EQ(x87_control(), control);
      r[0] = tarn::exp(x);
      r[3] = tarn::pow(positive, y);
      EXPECT_EQ(x87_control(), 0x0377);
    }
    const long double wide = positive;
    const long double truth[] = {std::exp(static_cast<long double>(x)), std::log(wide),
                                 std::log10(wide), std::pow(wide, static_cast<long double>(y))};
    for (int k = 0; k < 4; ++k) {
      EXPECT_EQ(bits(results[0][k]), bits(results[1][k])) << k << " of " << x;
      EXPECT_LT(ulps(results[1][k], truth[k]), 1.0L) << k << " of " << x << ", " << y;
    }
  }
}

TEST(Elementary, IntegerPowersMultiplyInTheStatedOrder) {
  std::mt19937_64 random(2);
  std::uniform_real_distribution<double> base(0.7, 1.4);
  for (int i = 0; i < 20000; ++i) {
    const double x = base(random);
    const auto n = static_cast<std::int64_t>(random() % 2001) - 1000;
    double square = n <= 0 ? 1 / x : x;
    double expected = 1;
    for (auto left = static_cast<std::uint64_t>(std::llabs(n)); left != 0; left >>= 1) {
      if (left & 1) expected *= square;
      square *= square;
    }
    ASSERT_EQ(bits(tarn::__xxjj(x, n)), bits(expected)) << x << " to the power " << n;
  }
}

TEST(Elementary, HardwareOverflowTrapsInAProgram) {
  // 10^300 fits, the squaring behind its last bit does not.
  EXPECT_DOUBLE_EQ(tarn::__xxjj(10.0, 300), 1e300);
  const ProgramControl program;
  EXPECT_EQ(tarn::ldexp(1.0, 2000), kInfinity);  // the x87 unit masks overflow at first,
  EXPECT_EQ(tarn::exp(0.0), 1.0);                // and its old flag harms nobody
  EXPECT_EQ(tarn::test::fault_by([] { tarn::__xxjj(10.0, 300); }).code, kOverflow);
  EXPECT_EQ(tarn::test::fault_by([] { tarn::pow(-1e300, 2.0); }).code, kOverflow);
  EXPECT_EQ(tarn::test::fault_by([] { tarn::ldexp(1.0, 2000); }).code, kOverflow);
}

// ---- Fortran's intrinsics ------------------------------------------------------

template <class Real>
struct OneArgument {
  const char* name;
  Real(TARNAPI* routine)(const Real*);
  Real x;
  long double (*truth)(long double);
};

long double sin_of(long double x) { return std::sin(x); }
long double cos_of(long double x) { return std::cos(x); }
long double tan_of(long double x) { return std::tan(x); }
long double atan_of(long double x) { return std::atan(x); }
long double asin_of(long double x) { return std::asin(x); }
long double acos_of(long double x) { return std::acos(x); }
long double sinh_of(long double x) { return std::sinh(x); }
long double cosh_of(long double x) { return std::cosh(x); }
long double tanh_of(long double x) { return std::tanh(x); }
long double exp_long(long double x) { return std::exp(x); }
long double log_long(long double x) { return std::log(x); }
long double log10_long(long double x) { return std::log10(x); }
long double log2_long(long double x) { return std::log2(x); }
long double sqrt_of(long double x) { return std::sqrt(x); }
long double trunc_of(long double x) { return std::trunc(x); }
long double round_of(long double x) { return std::round(x); }
long double abs_of(long double x) { return std::fabs(x); }

template <class Real>
void check_one_argument(const OneArgument<Real>& c) {
  Real got;
  {
    const ProgramControl program;
    got = c.routine(&c.x);
  }
  EXPECT_LT(ulps(got, c.truth(c.x)), 0.51L) << c.name << "(" << c.x << ") = " << got;
  EXPECT_TRUE(x87_stack_is_empty()) << c.name;
}

TEST(Intrinsics, EachNameGivesItsFunction) {
  using namespace tarn;
  const OneArgument<float> singles[] = {
      {"ALOG@", ALOG_at, 3.5f, log_long},    {"ALOG1@", ALOG1_at, 3.5f, log10_long},
      {"ALOG2@", ALOG2_at, 3.5f, log2_long}, {"EXP@", EXP_at, 1.7f, exp_long},
      {"SIN@", SIN_at, -2.3f, sin_of},       {"COS@", COS_at, 2.3f, cos_of},
      {"TAN@", TAN_at, 1.3f, tan_of},        {"ATAN@", ATAN_at, -1.3f, atan_of},
      {"SQRT@", SQRT_at, 2.0f, sqrt_of},     {"ASIN@", ASIN_at, 0.7f, asin_of},
      {"ACOS@", ACOS_at, 0.7f, acos_of},     {"SINH@", SINH_at, 1.7f, sinh_of},
      {"COSH@", COSH_at, 1.7f, cosh_of},     {"TANH@", TANH_at, 0.7f, tanh_of},
      {"AINT@", AINT_at, -2.7f, trunc_of},   {"ANINT@", ANINT_at, -2.5f, round_of},
      {"ANINT@", ANINT_at, 1e30f, round_of}, {"ABS@", ABS_at, -2.7f, abs_of},
  };
  for (const auto& c : singles) check_one_argument(c);
  const OneArgument<double> doubles[] = {
      {"DLOG@", DLOG_at, 3.5, log_long},    {"DLOG1@", DLOG1_at, 3.5, log10_long},
      {"DLOG2@", DLOG2_at, 3.5, log2_long}, {"DEXP@", DEXP_at, 1.7, exp_long},
      {"DSIN@", DSIN_at, -2.3, sin_of},     {"DCOS@", DCOS_at, 2.3, cos_of},
      {"DTAN@", DTAN_at, 1.3, tan_of},      {"DATAN@", DATAN_at, -1.3, atan_of},
      {"DSQRT@", DSQRT_at, 2.0, sqrt_of},   {"DASIN@", DASIN_at, 0.7, asin_of},
      {"DACOS@", DACOS_at, 0.7, acos_of},   {"DSINH@", DSINH_at, 1.7, sinh_of},
      {"DCOSH@", DCOSH_at, 1.7, cosh_of},   {"DTANH@", DTANH_at, 0.7, tanh_of},
      {"DINT@", DINT_at, -2.7, trunc_of},   {"DNINT@", DNINT_at, 2.5, round_of},
      {"DABS@", DABS_at, -2.7, abs_of},
  };
  for (const auto& c : doubles) check_one_argument(c);

  const float y = -2.5f, x = 0.7f;
  const double wide_y = -2.5, wide_x = 0.7;
  EXPECT_LT(ulps(ATAN2_at(&y, &x), std::atan2(-2.5L, static_cast<long double>(x))), 0.51L);
  EXPECT_LT(ulps(DATN2_at(&wide_y, &wide_x), std::atan2(-2.5L, static_cast<long double>(0.7))),
            0.51L);
  EXPECT_EQ(AMOD_at(&y, &x), std::fmod(y, x));
  EXPECT_EQ(DMOD_at(&wide_y, &wide_x), std::fmod(wide_y, wide_x));
}

TEST(Intrinsics, RoundingToIntegersKeepsTheLowBits) {
  const struct {
    double x;
    std::int64_t nearest;
  } cases[] = {{2.5, 3}, {-2.5, -3},          {0.5, 1},           {-0.25, 0},
               {0.0, 0}, {3.0e9, 3000000000}, {-70000.0, -70000}, {0x1p62, std::int64_t{1} << 62}};
  for (const auto& c : cases) {
    const auto single = static_cast<float>(c.x);
    EXPECT_EQ(tarn::IDNIN_at(&c.x), static_cast<std::int16_t>(c.nearest)) << c.x;
    EXPECT_EQ(tarn::JDNIN_at(&c.x), static_cast<std::int32_t>(c.nearest)) << c.x;
    EXPECT_EQ(tarn::ININT_at(&single), static_cast<std::int16_t>(c.nearest)) << c.x;
    EXPECT_EQ(tarn::JNINT_at(&single), static_cast<std::int32_t>(c.nearest)) << c.x;
  }
  EXPECT_EQ(tarn::JDNIN_at(&kNan), 0);
  const float below_half = 0x1.fffffep-2f;
  EXPECT_EQ(tarn::ANINT_at(&below_half), 1.0f);  // the sum rounds up in single precision
  EXPECT_EQ(tarn::JNINT_at(&below_half), 0);     // and not in double

  const std::int8_t byte[] = {-5, INT8_MIN};
  const std::int16_t half[] = {-5, INT16_MIN};
  const std::int32_t word[] = {-5, INT32_MIN};
  EXPECT_EQ(tarn::HABS_at(byte), 5);
  EXPECT_EQ(tarn::HABS_at(byte + 1), INT8_MIN);
  EXPECT_EQ(tarn::IABS_at(half), 5);
  EXPECT_EQ(tarn::IABS_at(half + 1), INT16_MIN);
  EXPECT_EQ(tarn::JABS_at(word), 5);
  EXPECT_EQ(tarn::JABS_at(word + 1), INT32_MIN);
}

TEST(Intrinsics, ComplexNumbersComeBackInOneRegister) {
  const float single[] = {1.5f, -2.0f};
  const float zero[] = {-0.0f, 0.0f};
  const double wide[] = {3.0, 4.0};
  const tarn::Complex8 conjugate = tarn::CONJ_at(single);
  EXPECT_EQ(conjugate[0], 1.5f);
  EXPECT_EQ(conjugate[1], 2.0f);
  EXPECT_EQ(conjugate[2], 0.0f);
  const tarn::Complex8 of_zero = tarn::CONJ_at(zero);
  EXPECT_TRUE(std::signbit(static_cast<float>(of_zero[0])));
  EXPECT_FALSE(std::signbit(static_cast<float>(of_zero[1])));
  const tarn::Complex16 wide_conjugate = tarn::DCONJ_at(wide);
  EXPECT_EQ(wide_conjugate[0], 3.0);
  EXPECT_EQ(wide_conjugate[1], -4.0);
  EXPECT_EQ(tarn::CABS_at(single), 2.5f);
  EXPECT_EQ(tarn::CDABS_at(wide), 5.0);
  EXPECT_EQ(tarn::AIMAG_at(single), -2.0f);
  EXPECT_EQ(tarn::DIMAG_at(wide), 4.0);
}

TEST(Intrinsics, AnglesBeyondTheProcessorComeBackUnreduced) {
  using Routine = double(TARNAPI*)(const double*);
  for (const Routine routine : {&tarn::DSIN_at, &tarn::DCOS_at, &tarn::DTAN_at}) {
    for (const double x : {0x1p63, -1e300}) EXPECT_EQ(routine(&x), x);
    for (const double x : {kInfinity, kNan}) EXPECT_TRUE(std::isnan(routine(&x)));
    EXPECT_TRUE(x87_stack_is_empty());
  }
}

TEST(Intrinsics, WhatIsOutsideTheDomainIsReported) {
  static const double two = 2.0, zero = 0.0, huge = 1e300, negative = -1.0;
  const struct {
    const char* name;
    void (*call)();
    std::int64_t number;
  } cases[] = {
      {"DSINH@", [] { tarn::DSINH_at(&huge); }, 20},
      {"DCOSH@", [] { tarn::DCOSH_at(&huge); }, 20},
      {"DEXP@", [] { tarn::DEXP_at(&huge); }, 25},
      {"DASIN@", [] { tarn::DASIN_at(&two); }, 26},
      {"DACOS@", [] { tarn::DACOS_at(&two); }, 26},
      {"DLOG@", [] { tarn::DLOG_at(&zero); }, 34},
      {"DLOG1@", [] { tarn::DLOG1_at(&negative); }, 34},
      {"DMOD@", [] { tarn::DMOD_at(&two, &zero); }, 32},
      {"DATN2@", [] { tarn::DATN2_at(&zero, &zero); }, 33},
  };
  for (const auto& c : cases)
    EXPECT_EQ(tarn::test::raised_by([&] { c.call(); }).number, c.number) << c.name;

  const ProgramControl program;
  EXPECT_EQ(tarn::test::fault_by([] { tarn::DSQRT_at(&negative); }).code, kInvalid);
  EXPECT_EQ(tarn::test::fault_by([] { tarn::JDNIN_at(&huge); }).code, kInvalid);
}

TEST(Intrinsics, ANanGivesANanWithoutATrap) {
  using Single = float(TARNAPI*)(const float*);
  using Double = double(TARNAPI*)(const double*);
  const ProgramControl program;
  const auto is_nan = [](double x) { return (bits(x) & ~(1ull << 63)) > 0x7FF0000000000000; };
  for (const Single routine :
       {tarn::ALOG_at, tarn::EXP_at, tarn::SIN_at, tarn::TAN_at, tarn::ATAN_at, tarn::SQRT_at,
        tarn::ASIN_at, tarn::SINH_at, tarn::TANH_at, tarn::AINT_at, tarn::ANINT_at, tarn::ABS_at}) {
    EXPECT_TRUE(is_nan(static_cast<double>(routine(&kNanSingle))));
  }
  for (const Double routine : {tarn::DLOG_at, tarn::DEXP_at, tarn::DSIN_at, tarn::DTAN_at,
                               tarn::DATAN_at, tarn::DSQRT_at, tarn::DASIN_at, tarn::DSINH_at,
                               tarn::DTANH_at, tarn::DINT_at, tarn::DNINT_at, tarn::DABS_at}) {
    EXPECT_TRUE(is_nan(routine(&kNan)));
  }
}

}  // namespace
