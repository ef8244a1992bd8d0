#include "numerics/special_functions.h"
#include "process/raising.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "tests/support/program_control.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::ProgramControl;
using tarn::test::raised_by;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr std::int64_t kMissing = 29;
constexpr std::int64_t kNothing = -1;

using OneArgument = double(TARNAPI*)(const double*);
using WithOrder = double(TARNAPI*)(const std::int32_t*, const double*);

bool without_slatec() {
  const double half = 0.5;
  return raised_by([&] { tarn::DGAMMA_at(&half); }).number == kMissing;
}

#define SKIP_WITHOUT_SLATEC() \
  if (without_slatec()) GTEST_SKIP() << "built without the SLATEC routines"

struct Value {
  const char* name;
  OneArgument routine;
  double x, expected;
};

void check(const Value& c, double tolerance) {
  double got;
  {
    const ProgramControl program;
    got = c.routine(&c.x);
  }
  EXPECT_NEAR(got / c.expected, 1.0, tolerance) << c.name << "(" << c.x << ") = " << got;
}

TEST(ErrorFunctions, InEachIntervalAgreeWithTheTrueValues) {
  const Value cases[] = {
      {"DERF@", tarn::DERF_at, 0.3, 0.32862675945912741619},
      {"DERF@", tarn::DERF_at, -1.7, -0.98379045859077456084},
      {"DERF@", tarn::DERF_at, 5.5, 0.99999999999999264215},
      {"DERF@", tarn::DERF_at, 1e-20, 1.1283791670955126e-20},
      {"DERF@", tarn::DERF_at, -kInfinity, -1.0},
      {"DERFC@", tarn::DERFC_at, 0.3, 0.67137324054087258381},
      {"DERFC@", tarn::DERFC_at, -1.7, 1.9837904585907745608},
      {"DERFC@", tarn::DERFC_at, 5.5, 7.3578479179743980631e-15},
      {"DERFC@", tarn::DERFC_at, 20.0, 5.3958656116079009289e-176},
      {"DERFC@", tarn::DERFC_at, -kInfinity, 2.0},
      {"DERFC_SCALED@", tarn::DERFC_SCALED_at, 0.3, 0.73459933456765514992},
      {"DERFC_SCALED@", tarn::DERFC_SCALED_at, -1.7, 35.694955906025280896},
      {"DERFC_SCALED@", tarn::DERFC_SCALED_at, 20.0, 0.028174348741051319319},
      {"DERFC_SCALED@", tarn::DERFC_SCALED_at, 1e10, 5.6418958354775628695e-11},
      {"DERFC_SCALED@", tarn::DERFC_SCALED_at, -26.7, 1.79e308},
  };
  for (const auto& c : cases) check(c, 1e-15);
  for (const double x : {30.0, 26.6, kInfinity}) EXPECT_EQ(tarn::DERFC_at(&x), 0.0) << x;
  for (const double x : {2.6e307, kInfinity}) EXPECT_EQ(tarn::DERFC_SCALED_at(&x), 0.0) << x;
  const double minus_zero = -0.0;
  EXPECT_TRUE(std::signbit(tarn::DERF_at(&minus_zero)));
}

TEST(ErrorFunctions, BadArgumentsAreReported) {
  for (const OneArgument routine : {tarn::DERF_at, tarn::DERFC_at, tarn::DERFC_SCALED_at}) {
    const ProgramControl program;
    EXPECT_EQ(raised_by([&] { routine(&kNan); }).number, tarn::TARN_ERROR_NUMERIC_ARGUMENT);
  }
  for (const std::int32_t selector : {-1, 3}) {
    const double x = 1.0;
    double result = 7.0;
    EXPECT_EQ(raised_by([&] { tarn::CALERF(&x, &result, &selector); }).number,
              tarn::TARN_ERROR_NUMERIC_ARGUMENT);
    EXPECT_EQ(result, 7.0);
  }
}

TEST(GammaAndBessel, AgreeWithTheTrueValues) {
  SKIP_WITHOUT_SLATEC();
  const Value cases[] = {
      {"DGAMMA@", tarn::DGAMMA_at, 0.5, 1.7724538509055160273},
      {"DGAMMA@", tarn::DGAMMA_at, -2.5, -0.94530872048294188123},
      {"DGAMMA@", tarn::DGAMMA_at, 5.0, 24.0},
      {"DGAMMA@", tarn::DGAMMA_at, 1e-20, 1e20},
      {"DGAMMA@", tarn::DGAMMA_at, 1e-15, 999999999999999.34508},
      {"DGAMMA@", tarn::DGAMMA_at, -1e-6, -1000000.5772166540037},
      {"DGAMMA@", tarn::DGAMMA_at, -1 + 1e-6, -1000000.4227569912748},
      {"DLOG_GAMMA@", tarn::DLOG_GAMMA_at, 1e-15, 34.538776394910684605},
      {"DLOG_GAMMA@", tarn::DLOG_GAMMA_at, 1e-20, 46.051701859880913680},
      {"DGAMMA@", tarn::DGAMMA_at, 20.25, 256040133328476465.59},
      {"DLOG_GAMMA@", tarn::DLOG_GAMMA_at, 20.25, 40.084110597917348984},
      {"DLOG_GAMMA@", tarn::DLOG_GAMMA_at, -30.5, -75.226467981933374089},
      {"DLOG_GAMMA@", tarn::DLOG_GAMMA_at, 1e300, 6.8977552789821374147e+302},
      {"DBESSEL_J0@", tarn::DBESSEL_J0_at, -1.5, 0.51182767173591812875},
      {"DBESSEL_J0@", tarn::DBESSEL_J0_at, 30.0, -0.086367983581040211336},
      {"DBESSEL_J1@", tarn::DBESSEL_J1_at, -1.5, -0.55793650791009964199},
      {"DBESSEL_J1@", tarn::DBESSEL_J1_at, 30.0, -0.11875106261662293652},
      {"DBESSEL_Y0@", tarn::DBESSEL_Y0_at, 2.5, 0.49807035961523188783},
      {"DBESSEL_Y0@", tarn::DBESSEL_Y0_at, 30.0, -0.11729573168666402525},
      {"DBESSEL_Y0@", tarn::DBESSEL_Y0_at, 3e-308, -450.862734899704056},
      {"DBESSEL_Y1@", tarn::DBESSEL_Y1_at, 4.451e-308, -1.4302848177209196e+307},
      {"DBESSEL_Y1@", tarn::DBESSEL_Y1_at, 2.5, 0.14591813796678579888},
      {"DBESSEL_Y1@", tarn::DBESSEL_Y1_at, 30.0, 0.084425570661747234891},
  };
  for (const auto& c : cases) check(c, 5e-15);

  const struct {
    std::int32_t n;
    double x, j, y;
  } orders[] = {
      {0, 2.5, -0.048383776468197996327, 0.49807035961523188783},
      {3, 0.25, 0.00032425125267590813096, -328.51619572415993141},
      {5, 10.0, -0.23406152818679364044, 0.1354030476893623032},
      {2, 40.0, -0.0010649746823580395933, -0.1262260923493384109},
      {90, 50.0, 3.4337332503236651875e-16, -12388438604924.744839},
      {120, 250.0, -0.029457487317867437265, 0.045110622660205528},
      {150, 40.0, 1.7254125695991220486e-69, -1.2761005571867758847e+66},
  };
  for (const auto& c : orders) {
    const ProgramControl program;
    EXPECT_NEAR(tarn::DBESSEL_JN_at(&c.n, &c.x) / c.j, 1.0, 1e-12) << c.n << " at " << c.x;
    EXPECT_NEAR(tarn::DBESSEL_YN_at(&c.n, &c.x) / c.y, 1.0, 1e-12) << c.n << " at " << c.x;
  }
  const double zero = 0.0, tiny = 1e-10;
  const std::int32_t none = 0, many = 400;
  EXPECT_EQ(tarn::DBESSEL_JN_at(&none, &zero), 1.0);
  EXPECT_EQ(tarn::DBESSEL_JN_at(&many, &zero), 0.0);
  EXPECT_EQ(tarn::DBESSEL_JN_at(&many, &tiny), 0.0);  // underflow
  const double smallest = 3e-308;
  EXPECT_EQ(tarn::DBESSEL_JN_at(&none, &smallest), 1.0);
}

TEST(GammaAndBessel, BadArgumentsAreReported) {
  SKIP_WITHOUT_SLATEC();
  const struct {
    const char* name;
    OneArgument routine;
    double x;
  } cases[] = {
      {"DGAMMA@", tarn::DGAMMA_at, 0.0},
      {"DGAMMA@", tarn::DGAMMA_at, -3.0},
      {"DGAMMA@", tarn::DGAMMA_at, -3.0 + 1e-12},
      {"DGAMMA@", tarn::DGAMMA_at, -40.0},
      {"DGAMMA@", tarn::DGAMMA_at, 172.0},
      {"DGAMMA@", tarn::DGAMMA_at, 1e-310},
      {"DGAMMA@", tarn::DGAMMA_at, -1e-20},
      {"DGAMMA@", tarn::DGAMMA_at, -200.5},
      {"DGAMMA@", tarn::DGAMMA_at, kInfinity},
      {"DGAMMA@", tarn::DGAMMA_at, -kInfinity},
      {"DGAMMA@", tarn::DGAMMA_at, kNan},
      {"DLOG_GAMMA@", tarn::DLOG_GAMMA_at, -20.0},
      {"DLOG_GAMMA@", tarn::DLOG_GAMMA_at, kInfinity},
      {"DLOG_GAMMA@", tarn::DLOG_GAMMA_at, kNan},
      {"DBESSEL_J0@", tarn::DBESSEL_J0_at, 1e17},
      {"DBESSEL_J0@", tarn::DBESSEL_J0_at, kNan},
      {"DBESSEL_J1@", tarn::DBESSEL_J1_at, -kInfinity},
      {"DBESSEL_J1@", tarn::DBESSEL_J1_at, 3e-308},
      {"DBESSEL_J1@", tarn::DBESSEL_J1_at, kNan},
      {"DBESSEL_Y0@", tarn::DBESSEL_Y0_at, 0.0},
      {"DBESSEL_Y0@", tarn::DBESSEL_Y0_at, -1.0},
      {"DBESSEL_Y0@", tarn::DBESSEL_Y0_at, kNan},
      {"DBESSEL_Y1@", tarn::DBESSEL_Y1_at, -1.0},
      {"DBESSEL_Y1@", tarn::DBESSEL_Y1_at, 2.3e-308},
      {"DBESSEL_Y1@", tarn::DBESSEL_Y1_at, 4.4e-308},
      {"DBESSEL_Y1@", tarn::DBESSEL_Y1_at, kInfinity},
  };
  for (const auto& c : cases) {
    const ProgramControl program;
    EXPECT_EQ(raised_by([&] { c.routine(&c.x); }).number, tarn::TARN_ERROR_NUMERIC_ARGUMENT)
        << c.name << "(" << c.x << ")";
  }
  const struct {
    WithOrder routine;
    std::int32_t n;
    double x;
  } orders[] = {
      {tarn::DBESSEL_JN_at, -1, 1.0},        {tarn::DBESSEL_JN_at, 2, -1.0},
      {tarn::DBESSEL_JN_at, 2, kNan},        {tarn::DBESSEL_JN_at, 2, kInfinity},
      {tarn::DBESSEL_JN_at, 2, 0x1p61},      {tarn::DBESSEL_YN_at, -1, 1.0},
      {tarn::DBESSEL_YN_at, 2, 0.0},         {tarn::DBESSEL_YN_at, 2, kNan},
      {tarn::DBESSEL_YN_at, 2, 0x1p61},      {tarn::DBESSEL_YN_at, 300, 0.1},
      {tarn::DBESSEL_YN_at, INT32_MAX, 2.0}, {tarn::DBESSEL_YN_at, 87523, 1.9e-304},
  };
  for (const auto& c : orders) {
    const ProgramControl program;
    EXPECT_EQ(raised_by([&] { c.routine(&c.n, &c.x); }).number, tarn::TARN_ERROR_NUMERIC_ARGUMENT)
        << c.n << ", " << c.x;
  }
}

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
       {tarn::DERF_at, tarn::DERFC_at, tarn::DERFC_SCALED_at, tarn::DGAMMA_at, tarn::DLOG_GAMMA_at,
        tarn::DBESSEL_J0_at, tarn::DBESSEL_J1_at, tarn::DBESSEL_Y0_at, tarn::DBESSEL_Y1_at}) {
    for (int i = 0; i < kRounds; ++i) {
      const double x = argument(i);
      double got = 0;
      const auto raised = raised_by([&] { got = routine(&x); });
      ASSERT_TRUE(raised.number == kNothing ? finite(got)
                                            : raised.number == tarn::TARN_ERROR_NUMERIC_ARGUMENT)
          << std::bit_cast<std::uint64_t>(x) << " gave " << raised.number;
    }
  }
  for (const WithOrder routine : {tarn::DBESSEL_JN_at, tarn::DBESSEL_YN_at}) {
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

TEST(MachineConstants, AreTheStoredOnes) {
  const struct {
    std::int32_t i;
    std::uint64_t bits;
  } reals[] = {{0, 0},
               {1, 0x0010000005017817},
               {2, 0x7FEFFFFFF596AC44},
               {3, 0x3C9FFFFFF4178DA3},
               {4, 0x3CAFFFFFF4178DA3},
               {5, 0x3FD34413509F79FF},
               {6, 0},
               {INT32_MIN, 0}};
  for (const auto& c : reals) {
    EXPECT_EQ(std::bit_cast<std::uint64_t>(tarn::D1MACH(&c.i)), c.bits) << c.i;
  }
  const std::int32_t integers[] = {5,          6, 0,  0,    32,  4,  2,     31,
                                   2147483647, 2, 24, -125, 127, 53, -1021, 1023};
  for (std::int32_t i = 1; i <= 16; ++i) EXPECT_EQ(tarn::I1MACH(&i), integers[i - 1]) << i;
}

TEST(MachineConstantsDeathTest, ABadIndexOfAnIntegerStopsTheProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const std::int32_t i : {0, 17})
    EXPECT_EXIT(tarn::I1MACH(&i), testing::ExitedWithCode(0), "");
}

}  // namespace
