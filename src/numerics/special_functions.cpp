#include "numerics/special_functions.h"

#include "numerics/real_bits.h"
#include "paneview/paneview.h"
#include "process/raising.h"

namespace tarn {
namespace {

// The published routines of order n count steps up to about 1.35 sqrt(x) in 32
// bits: from here on that number overflows.
constexpr double kLargestArgument = 0x1p61;
// Yn overflows, and x / n may be too small to divide by, for x below n times this.
constexpr double kSmallestQuotient = 0x1p-1020;
// Up to here the gamma function is 1 / x to double precision.
constexpr double kSmallGamma = 0x1p-53;
constexpr double kSmallestNormal = 0x1p-1022;
// Up to this |x| the published routine steps down to x by divisions.
constexpr double kLargestStepped = 10.0;
// Below it the published Bessel functions take the logarithm of x / 2, which may
// have been flushed to zero. There the first term of the series is the value.
constexpr double kSmallestHalved = 0x1p-1021;
constexpr double kTwoByPi = 0.63661977236758134308;
constexpr double kGammaLessLog2 = -0.11593151565841244881;  // Euler's constant less log 2
constexpr std::int32_t kOneOrder = 1;

[[noreturn]] void bad_argument() { ReportErrorNumber(TARN_ERROR_NUMERIC_ARGUMENT); }

using Function = double(TARNAPI*)(const double*);

// The published routines compare before they look for what is no number, and a
// comparison with a NaN traps in a running program.
double number_through(Function function, const double* x) {
  if (is_nan(*x)) bad_argument();
  return function(x);
}

void require_order_argument(double x) {
  if (is_nan(x) || x >= kLargestArgument) bad_argument();
}

// Subnormals are left to the published routines, for which they are zero.
bool is_tiny(double x) {
  return bits_of(x) >= bits_of(kSmallestNormal) && bits_of(x) < bits_of(kSmallestHalved);
}

// The gamma function below 1. The published routine divides by (x + i) - 1 where
// it means x + (i - 1), and loses what the sum rounds away: near 0 up to all of
// x. This takes each such divisor back and divides by the right one.
double stepped_gamma(const double* x) {
  double value = number_through(slatec_DGAMMA, x);
  const std::int32_t steps = 1 - static_cast<std::int32_t>(*x) + (is_below_zero(*x) ? 1 : 0);
  for (std::int32_t i = 1; i <= steps; ++i) value *= (*x + i - 1.0) / (*x + (i - 1));
  return value;
}

bool has_stepped_gamma(double x) { return !is_nan(x) && x < 1.0 && x >= -kLargestStepped; }

// Whether the gamma function of x is 1 / x, which of a subnormal has no result.
bool has_reciprocal_gamma(double x) {
  if (is_nan(x) || is_below_zero(x) || is_zero(x)) return false;
  if (x < kSmallestNormal) bad_argument();
  return x <= kSmallGamma;
}

}  // namespace

extern "C" void XERMSG(const char*, const char*, const char*, const std::int32_t*,
                       const std::int32_t*, std::int64_t, std::int64_t, std::int64_t) {
  bad_argument();
}

double DGAMMA(const double* x) {
  if (has_reciprocal_gamma(*x)) return 1.0 / *x;
  return has_stepped_gamma(*x) ? stepped_gamma(x) : number_through(slatec_DGAMMA, x);
}
double DLOG_GAMMA(const double* x) {
  if (has_reciprocal_gamma(*x)) return -paneview::DALOG$$(*x);
  if (!has_stepped_gamma(*x)) return number_through(DLNGAM, x);
  return paneview::DALOG$$(__builtin_fabs(stepped_gamma(x)));
}
double DBESSEL_J0(const double* x) { return number_through(DBESJ0, x); }
double DBESSEL_J1(const double* x) { return number_through(DBESJ1, x); }
double DBESSEL_Y0(const double* x) {
  if (is_tiny(*x)) return kTwoByPi * (paneview::DALOG$$(*x) + kGammaLessLog2);
  return number_through(DBESY0, x);
}
double DBESSEL_Y1(const double* x) {
  if (is_tiny(*x)) bad_argument();  // as J1, from which the published routine makes it
  return number_through(DBESY1, x);
}

double DBESSEL_JN(const std::int32_t* n, const double* x) {
  require_order_argument(*x);
  if (is_tiny(*x) && *n >= 0) return *n == 0 ? 1.0 : 0.0;
  const double order = *n;
  double y = 0.0;
  std::int32_t underflows;
  DBESJ(x, &order, &kOneOrder, &y, &underflows);
  return y;
}

double DBESSEL_YN(const std::int32_t* n, const double* x) {
  require_order_argument(*x);
  const double order = *n;
  if (order > 0 && *x < order * kSmallestQuotient) bad_argument();
  double y = 0.0;
  DBESY(x, &order, &kOneOrder, &y);
  return y;
}

}  // namespace tarn
