// The error functions, from the rational Chebyshev approximations of W. J.
// Cody ("Rational Chebyshev approximations for the error function", Math.
// Comp. 23, 1969, 631-637), in the form of the published routine CALERF: its
// intervals, its coefficients and its order of operations.

#include "numerics/real_bits.h"
#include "numerics/special_functions.h"
#include "paneview/paneview.h"

namespace tarn {
namespace {

enum Selector : std::int32_t { kErf = 0, kErfc = 1, kScaledErfc = 2 };

constexpr double kFirstInterval = 0.46875;
constexpr double kSecondInterval = 4.0;
constexpr double kXInf = 1.79e308;    // the largest result
constexpr double kXNeg = -26.628;     // below it the scaled function overflows
constexpr double kXSmall = 1.11e-16;  // below it erf(x) is linear
constexpr double kXBig = 26.543;      // from it on erfc underflows
constexpr double kXHuge = 6.71e7;     // from it on 1 / (x sqrt(pi)) is the scaled function
constexpr double kXMax = 2.53e307;    // from it on that underflows
constexpr double kOneOverRootPi = 5.6418958354775628695e-1;

// Numerators and denominators of the three intervals, in the published order:
// the last coefficient of a numerator is that of the highest power.
constexpr double kA[] = {3.16112374387056560e00, 1.13864154151050156e02, 3.77485237685302021e02,
                         3.20937758913846947e03, 1.85777706184603153e-1};
constexpr double kB[] = {2.36012909523441209e01, 2.44024637934444173e02, 1.28261652607737228e03,
                         2.84423683343917062e03};
constexpr double kC[] = {5.64188496988670089e-1, 8.88314979438837594e00, 6.61191906371416295e01,
                         2.98635138197400131e02, 8.81952221241769090e02, 1.71204761263407058e03,
                         2.05107837782607147e03, 1.23033935479799725e03, 2.15311535474403846e-8};
constexpr double kD[] = {1.57449261107098347e01, 1.17693950891312499e02, 5.37181101862009858e02,
                         1.62138957456669019e03, 3.29079923573345963e03, 4.36261909014324716e03,
                         3.43936767414372164e03, 1.23033935480374942e03};
constexpr double kP[] = {3.05326634961232344e-1, 3.60344899949804439e-1, 1.25781726111229246e-1,
                         1.60837851487422766e-2, 6.58749161529837803e-4, 1.63153871373020978e-2};
constexpr double kQ[] = {2.56852019228982242e00, 1.87295284992346047e00, 5.27905102951428412e-1,
                         6.05183413124413191e-2, 2.33520497626869185e-3};

// factor times the quotient of the two polynomials of degree N at t; the factor
// goes into the numerator.
template <int N>
double quotient(double factor, const double (&numerator)[N + 1], const double (&denominator)[N],
                double t) {
  double top = numerator[N] * t;
  double bottom = t;
  for (int i = 0; i < N - 1; ++i) {
    top = (top + numerator[i]) * t;
    bottom = (bottom + denominator[i]) * t;
  }
  return factor * (top + numerator[N - 1]) / (bottom + denominator[N - 1]);
}

// exp(sign * v * v) in two factors, the square of v's first bits and the rest.
double exp_of_square(double v, double sign) {
  const double first = paneview::DAINT$$(v * 16.0) / 16.0;
  const double rest = (v - first) * (v + first);
  return paneview::DEXP$$(sign * (first * first)) * paneview::DEXP$$(sign * rest);
}

// erfc(y), or exp(y * y) * erfc(y), for y above the first interval.
double complement(double y, std::int32_t selector) {
  double scaled;
  if (y <= kSecondInterval) {
    scaled = quotient<8>(1.0, kC, kD, y);
  } else {
    if (y >= kXBig && (selector != kScaledErfc || y >= kXMax)) return 0.0;
    if (y >= kXHuge) return kOneOverRootPi / y;
    const double t = 1.0 / (y * y);
    scaled = (kOneOverRootPi - quotient<5>(t, kP, kQ, t)) / y;
  }
  return selector == kScaledErfc ? scaled : exp_of_square(y, -1.0) * scaled;
}

double near_zero(double x, double y, std::int32_t selector) {
  const double square = y > kXSmall ? y * y : 0.0;
  const double erf = quotient<4>(x, kA, kB, square);
  if (selector == kErf) return erf;
  const double erfc = 1.0 - erf;
  return selector == kErfc ? erfc : paneview::DEXP$$(square) * erfc;
}

// From the value at |x| to that at a negative x.
double reflected(double x, double value, std::int32_t selector) {
  if (selector == kErfc) return 2.0 - value;
  if (x < kXNeg) return kXInf;
  const double power = exp_of_square(x, 1.0);
  return (power + power) - value;
}

double error_function(const double* x, std::int32_t selector) {
  double result;
  CALERF(x, &result, &selector);
  return result;
}

}  // namespace

void CALERF(const double* x, double* result, const std::int32_t* selector) {
  const double value = *x;
  const std::int32_t wanted = *selector;
  if (is_nan(value) || wanted < kErf || wanted > kScaledErfc) {
    XERMSG("", "CALERF", "", nullptr, nullptr, 0, 6, 0);
  }
  const double y = value < 0 ? -value : value;
  if (y <= kFirstInterval) {
    *result = near_zero(value, y, wanted);
    return;
  }
  const double at_y = complement(y, wanted);
  if (wanted == kErf) {
    const double erf = (0.5 - at_y) + 0.5;
    *result = value < 0 ? -erf : erf;
  } else {
    *result = value < 0 ? reflected(value, at_y, wanted) : at_y;
  }
}

double DERF(const double* x) { return error_function(x, kErf); }
double DERFC(const double* x) { return error_function(x, kErfc); }
double DERFC_SCALED(const double* x) { return DERFCX(x); }
extern "C" double DERFCX(const double* x) { return error_function(x, kScaledErfc); }

}  // namespace tarn
