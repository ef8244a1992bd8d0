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
// The gamma function behind x = 0: up to here the published routine would
// divide by (x + 1) - 1, which is zero. To double precision it is 1 / x.
constexpr double kSmallGamma = 0x1p-53;
constexpr double kSmallestNormal = 0x1p-1022;
// Below it x / 2, whose logarithm is wanted, may be flushed to zero.
constexpr double kSmallestHalved = 0x1p-1021;
constexpr std::int32_t kOneOrder = 1;

[[noreturn]] void bad_argument() { FAIL_at(&kErrorNumericArgument); }

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

void require_zero_or_halvable(double x) {
  if (!is_zero(x) && bits_of(x) < bits_of(kSmallestHalved)) bad_argument();
}

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

double DGAMMA_at(const double* x) {
  return has_reciprocal_gamma(*x) ? 1.0 / *x : number_through(DGAMMA, x);
}
double DLOG_GAMMA_at(const double* x) {
  return has_reciprocal_gamma(*x) ? -paneview::DALOG$$(*x) : number_through(DLNGAM, x);
}
double DBESSEL_J0_at(const double* x) { return number_through(DBESJ0, x); }
double DBESSEL_J1_at(const double* x) { return number_through(DBESJ1, x); }
double DBESSEL_Y0_at(const double* x) {
  require_zero_or_halvable(*x);
  return number_through(DBESY0, x);
}
double DBESSEL_Y1_at(const double* x) { return number_through(DBESY1, x); }

double DBESSEL_JN_at(const std::int32_t* n, const double* x) {
  require_order_argument(*x);
  require_zero_or_halvable(*x);
  const double order = *n;
  double y = 0.0;
  std::int32_t underflows;
  DBESJ(x, &order, &kOneOrder, &y, &underflows);
  return y;
}

double DBESSEL_YN_at(const std::int32_t* n, const double* x) {
  require_order_argument(*x);
  const double order = *n;
  if (order > 0 && *x < order * kSmallestQuotient) bad_argument();
  double y = 0.0;
  DBESY(x, &order, &kOneOrder, &y);
  return y;
}

}  // namespace tarn
