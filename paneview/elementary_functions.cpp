// The mathematical kernels. Each public routine tests its argument by its bits
// (an SSE comparison would take a subnormal for zero, or trap on a NaN),
// raises what has to be raised, and evaluates one of the formulas below.

#include <type_traits>

#include "paneview/extended.h"
#include "paneview/paneview.h"
#include "paneview/raise.h"

namespace paneview {
namespace {

inline constexpr std::uint64_t kRuntimeErrorSinhCosh = 20;
inline constexpr std::uint64_t kRuntimeErrorZeroPower = 21;
inline constexpr std::uint64_t kRuntimeErrorExp = 25;
inline constexpr std::uint64_t kRuntimeErrorAsinAcos = 26;
inline constexpr std::uint64_t kRuntimeErrorModByZero = 32;
inline constexpr std::uint64_t kRuntimeErrorAtan2 = 33;
inline constexpr std::uint64_t kRuntimeErrorLogarithm = 34;
inline constexpr std::uint64_t kRuntimeErrorNegativePower = 36;
inline constexpr std::uint64_t kRuntimeErrorModulus = 171;
inline constexpr std::uint64_t kRuntimeErrorPowerOverflow = 439;

constexpr Extended kLog2E = 0xb.8aa3b295c17f0bcp-3L;
constexpr Extended kLog2ELow = -0x8.2f0025f2dc6p-68L;
constexpr Extended kLn2High = 0xb.17217f7p-4L;  // 32 bits: n * kLn2High is exact
constexpr Extended kLn2Low = 0xd.1cf79abc9e3b398p-36L;
constexpr Extended kLn2 = 0xb.17217f7d1cf79acp-4L;
constexpr Extended kLog10Of2 = 0x9.a209a84fbcff799p-5L;
// Beyond it 2^t leaves the range of every result, but not that of Extended.
constexpr Extended kExponentLimit = 12000;

// ---- Bits of the two formats ------------------------------------------------

template <typename Real>
using Bits = std::conditional_t<sizeof(Real) == 4, std::uint32_t, std::uint64_t>;
template <typename Real>
constexpr int kFractionBits = sizeof(Real) == 4 ? 23 : 52;
template <typename Real>
constexpr Bits<Real> kSign = Bits<Real>{1} << (sizeof(Real) * 8 - 1);
template <typename Real>
constexpr Bits<Real> kInfinity = (kSign<Real> - 1) >> kFractionBits<Real> << kFractionBits<Real>;
template <typename Real>
constexpr Bits<Real> kOne = (kInfinity<Real> >> 1) & kInfinity<Real>;
template <typename Real>
constexpr Bits<Real> kQuietNan = kInfinity<Real> | Bits<Real>{1} << (kFractionBits<Real> - 1);

template <typename Real>
PANEVIEW_INLINE Bits<Real> bits_of(Real x) {
  return __builtin_bit_cast(Bits<Real>, x);
}

template <typename Real>
PANEVIEW_INLINE Real real_of(Bits<Real> bits) {
  return __builtin_bit_cast(Real, bits);
}

template <typename Real>
PANEVIEW_INLINE Bits<Real> magnitude(Real x) {
  return bits_of(x) & ~kSign<Real>;
}

template <typename Real>
PANEVIEW_INLINE bool is_nan(Real x) {
  return magnitude(x) > kInfinity<Real>;
}

template <typename Real>
PANEVIEW_INLINE bool is_infinite(Real x) {
  return magnitude(x) == kInfinity<Real>;
}

template <typename Real>
PANEVIEW_INLINE bool is_finite(Real x) {
  return magnitude(x) < kInfinity<Real>;
}

template <typename Real>
PANEVIEW_INLINE bool is_zero(Real x) {
  return magnitude(x) == 0;
}

template <typename Real>
PANEVIEW_INLINE bool is_negative(Real x) {
  return (bits_of(x) & kSign<Real>) != 0;
}

// Of the highest bit: below 0 if |x| < 1.
template <typename Real>
PANEVIEW_INLINE int exponent_of(Real x) {
  return static_cast<int>(magnitude(x) >> kFractionBits<Real>) -
         static_cast<int>(kOne<Real> >> kFractionBits<Real>);
}

template <typename Real>
PANEVIEW_INLINE Real quieted(Real nan) {
  return real_of<Real>(bits_of(nan) | kQuietNan<Real>);
}

// ---- Evaluation ----------------------------------------------------------------

template <typename Real, typename Formula>
PANEVIEW_INLINE Real evaluate(Formula formula, Real x) {
  const std::uint16_t control = enter_extended();
  Real result;
  x87_store(formula(x87_load(x)), &result);
  leave_extended(control);
  return result;
}

template <typename Real, typename Formula>
PANEVIEW_INLINE Real evaluate(Formula formula, Real x, Real y) {
  const std::uint16_t control = enter_extended();
  Real result;
  x87_store(formula(x87_load(x), x87_load(y)), &result);
  leave_extended(control);
  return result;
}

PANEVIEW_INLINE Extended absolute(Extended x) { return __builtin_fabsl(x); }

// ---- Formulas --------------------------------------------------------------------

// e^x = 2^n * 2^(r / ln 2) with r = x - n ln 2, ln 2 in two parts so that r
// keeps all its bits.
PANEVIEW_INLINE Extended exponential(Extended x) {
  if (x > kExponentLimit) x = kExponentLimit;
  if (x < -kExponentLimit) x = -kExponentLimit;
  const Extended n = x87_integer(x * kLog2E);
  const Extended r = (x - n * kLn2High) - n * kLn2Low;
  return x87_scale(x87_exp2m1(r * kLog2E) + 1, n);
}

// e^x - 1 for 0 <= x <= ln 2, with its full relative precision.
PANEVIEW_INLINE Extended exponential_less_1(Extended x) { return x87_exp2m1(x * kLog2E); }

PANEVIEW_INLINE Extended hyperbolic_sine(Extended x) {
  const Extended a = absolute(x);
  Extended result;
  if (a <= kLn2) {
    const Extended e1 = exponential_less_1(a);
    result = (e1 + e1 / (e1 + 1)) / 2;
  } else {
    const Extended e = exponential(a);
    result = (e - 1 / e) / 2;
  }
  return __builtin_copysignl(result, x);
}

PANEVIEW_INLINE Extended hyperbolic_cosine(Extended x) {
  const Extended e = exponential(absolute(x));
  return (e + 1 / e) / 2;
}

PANEVIEW_INLINE Extended hyperbolic_tangent(Extended x) {
  const Extended twice = 2 * absolute(x);
  Extended result;
  if (twice <= kLn2) {
    const Extended e1 = exponential_less_1(twice);
    result = e1 / (e1 + 2);
  } else {
    result = 1 - 2 / (exponential(twice) + 1);
  }
  return __builtin_copysignl(result, x);
}

// scale * log2(x); near 1 from x - 1, which is exact there.
PANEVIEW_INLINE Extended logarithm(Extended scale, Extended x) {
  const Extended above_1 = x - 1;
  if (absolute(above_1) < 0.25L) return x87_ylog2p1(scale, above_1);
  return x87_ylog2(scale, x);
}

// 1 - x * x, without losing bits near 1.
PANEVIEW_INLINE Extended squared_other_leg(Extended x) { return (1 - x) * (1 + x); }

PANEVIEW_INLINE Extended arc_sine(Extended x) {
  return x87_atan2(x, x87_sqrt(squared_other_leg(x)));
}

PANEVIEW_INLINE Extended arc_cosine(Extended x) {
  return x87_atan2(x87_sqrt(squared_other_leg(x)), x);
}

PANEVIEW_INLINE Extended modulus(Extended re, Extended im) { return x87_sqrt(re * re + im * im); }

// ---- Power -----------------------------------------------------------------------
//
// x^y = 2^(y log2 x). An error of y log2 x is a relative error of the result,
// and y log2 x goes up to 1,075, so log2 x is needed to 64 + 11 bits: it is
// kept as the sum of two numbers.

struct Pair {
  Extended high, low;  // low is the rounding error of high
};

PANEVIEW_INLINE Pair exact_sum(Extended a, Extended b) {
  const Extended sum = a + b;
  const Extended part = sum - a;
  return {sum, (a - (sum - part)) + (b - part)};
}

// Halves of 32 bits, so that their products are exact.
PANEVIEW_INLINE Pair split(Extended a) {
  const Extended scaled = a * 4294967297.0L;
  const Extended high = scaled - (scaled - a);
  return {high, a - high};
}

PANEVIEW_INLINE Pair exact_product(Extended a, Extended b) {
  const Pair x = split(a);
  const Pair y = split(b);
  const Extended product = a * b;
  return {product, ((x.high * y.high - product) + x.high * y.low + x.low * y.high) + x.low * y.low};
}

constexpr int kPowerSteps = 128;
constexpr Pair kLogTable[] = {
#include "paneview/power_table.inc"
};

// ln(1 + z) = z + z^2 * series(z), |z| <= 2^-7
constexpr Extended kLogSeries[] = {-1.0L / 2, 1.0L / 3, -1.0L / 4,  1.0L / 5,  -1.0L / 6, 1.0L / 7,
                                   -1.0L / 8, 1.0L / 9, -1.0L / 10, 1.0L / 11, -1.0L / 12};

// x = m * 2^e; m * j / 128 = 1 + z is exact for the j that makes it nearest 1,
// and log2 x = e - log2(j / 128) + log2(1 + z), the middle term from a table.
PANEVIEW_INLINE Pair exact_log2(Extended x) {
  Extended m, e;
  x87_extract(x, &m, &e);
  const int j = static_cast<int>(x87_integer(kPowerSteps / m));
  const Extended z = m * j / kPowerSteps - 1;
  const Pair& table = kLogTable[j - kPowerSteps / 2];

  Extended series = 0;
  for (int i = static_cast<int>(sizeof kLogSeries / sizeof kLogSeries[0]); i-- > 0;) {
    series = series * z + kLogSeries[i];
  }
  const Pair linear = exact_product(z, kLog2E);
  const Extended rest = linear.low + z * kLog2ELow + z * z * series * kLog2E;
  const Pair sum = exact_sum(e + table.high, linear.high);
  return exact_sum(sum.high, sum.low + rest + table.low);
}

// x^y for x > 0, both finite.
PANEVIEW_INLINE Extended positive_power(Extended x, Extended y) {
  const Pair log = exact_log2(x);
  const Pair product = exact_product(y, log.high);
  Extended high = product.high;
  Extended low = product.low + y * log.low;
  if (absolute(high) > kExponentLimit) {
    high = high < 0 ? -kExponentLimit : kExponentLimit;
    low = 0;
  }
  const Extended n = x87_integer(high);
  return x87_scale(x87_exp2m1((high - n) + low) + 1, n);
}

// ---- One argument -----------------------------------------------------------------

template <typename Real>
PANEVIEW_INLINE Real checked_exponential(Real x) {
  if (is_nan(x)) return quieted(x);
  const Real result = evaluate([](Extended v) { return exponential(v); }, x);
  if (is_infinite(result)) raise_error(kRuntimeErrorExp);
  return result;
}

template <typename Real>
PANEVIEW_INLINE Real checked_logarithm(Extended scale, Real x) {
  if (is_nan(x)) return quieted(x);
  if (is_zero(x) || is_negative(x)) raise_error(kRuntimeErrorLogarithm);
  if (is_infinite(x)) return x;
  return evaluate([scale](Extended v) { return logarithm(scale, v); }, x);
}

template <typename Real, typename Formula>
PANEVIEW_INLINE Real checked_arc(Formula formula, Real x) {
  if (is_nan(x)) return quieted(x);
  if (magnitude(x) > kOne<Real>) raise_error(kRuntimeErrorAsinAcos);
  return evaluate(formula, x);
}

template <typename Real, typename Formula>
PANEVIEW_INLINE Real checked_hyperbolic(Formula formula, Real x) {
  if (is_nan(x)) return quieted(x);
  const Real result = evaluate(formula, x);
  if (is_infinite(result)) raise_error(kRuntimeErrorSinhCosh);
  return result;
}

template <typename Real>
PANEVIEW_INLINE Real checked_tangent(Real x) {
  if (is_nan(x)) return quieted(x);
  return evaluate([](Extended v) { return hyperbolic_tangent(v); }, x);
}

// Clears the bits of the fraction that are after the point.
template <typename Real>
PANEVIEW_INLINE Real truncated(Real x) {
  if (is_nan(x)) return quieted(x);
  const int exponent = exponent_of(x);
  if (exponent >= kFractionBits<Real>) return x;
  if (exponent < 0) return real_of<Real>(bits_of(x) & kSign<Real>);
  const Bits<Real> behind = (Bits<Real>{1} << (kFractionBits<Real> - exponent)) - 1;
  return real_of<Real>(bits_of(x) & ~behind);
}

// ---- Two arguments -----------------------------------------------------------------

template <typename Real>
PANEVIEW_INLINE Real checked_remainder(Real x, Real y) {
  if (is_nan(x)) return quieted(x);
  if (is_nan(y)) return quieted(y);
  if (is_zero(y)) raise_error(kRuntimeErrorModByZero);
  if (is_infinite(x)) return real_of<Real>(kQuietNan<Real>);
  if (is_infinite(y)) return x;
  return evaluate([](Extended a, Extended b) { return x87_remainder(a, b); }, x, y);
}

template <typename Real>
PANEVIEW_INLINE Real checked_angle(Real y, Real x) {
  if (is_nan(y)) return quieted(y);
  if (is_nan(x)) return quieted(x);
  if (is_zero(x) && is_zero(y)) raise_error(kRuntimeErrorAtan2);
  return evaluate([](Extended a, Extended b) { return x87_atan2(a, b); }, y, x);
}

template <typename Real>
PANEVIEW_INLINE Real checked_modulus(Real re, Real im) {
  if (is_infinite(re) || is_infinite(im)) return real_of<Real>(kInfinity<Real>);
  if (is_nan(re)) return quieted(re);
  if (is_nan(im)) return quieted(im);
  const Real result = evaluate([](Extended a, Extended b) { return modulus(a, b); }, re, im);
  if (is_infinite(result)) raise_error(kRuntimeErrorModulus);
  return result;
}

bool is_integral(double y) { return bits_of(truncated(y)) == bits_of(y); }

// y integral: is its last bit before the point set?
bool is_odd(double y) {
  const int exponent = exponent_of(y);
  if (exponent < 0 || exponent > kFractionBits<double>) return false;
  const std::uint64_t fraction = magnitude(y) | std::uint64_t{1} << kFractionBits<double>;
  return (fraction >> (kFractionBits<double> - exponent) & 1) != 0;
}

// |x|^y where one of them is infinite.
double infinite_power(double x, double y) {
  if (is_zero(y) || magnitude(x) == kOne<double>) return 1.0;
  const bool grows = (magnitude(x) > kOne<double>) != is_negative(y);
  return grows ? real_of<double>(kInfinity<double>) : 0.0;
}

}  // namespace

float EXP$$(float x) { return checked_exponential(x); }
double DEXP$$(double x) { return checked_exponential(x); }

float ALOG$$(float x) { return checked_logarithm(kLn2, x); }
float AL10$$(float x) { return checked_logarithm(kLog10Of2, x); }
float ALG2$$(float x) { return checked_logarithm(1, x); }
double DALOG$$(double x) { return checked_logarithm(kLn2, x); }
double DAL10$$(double x) { return checked_logarithm(kLog10Of2, x); }
double DALG2$$(double x) { return checked_logarithm(1, x); }

float ASIN$$(float x) {
  return checked_arc([](Extended v) { return arc_sine(v); }, x);
}
float ACOS$$(float x) {
  return checked_arc([](Extended v) { return arc_cosine(v); }, x);
}
double DASIN$$(double x) {
  return checked_arc([](Extended v) { return arc_sine(v); }, x);
}
double DACOS$$(double x) {
  return checked_arc([](Extended v) { return arc_cosine(v); }, x);
}

float SINH$$(float x) {
  return checked_hyperbolic([](Extended v) { return hyperbolic_sine(v); }, x);
}
float COSH$$(float x) {
  return checked_hyperbolic([](Extended v) { return hyperbolic_cosine(v); }, x);
}
double DSINH$$(double x) {
  return checked_hyperbolic([](Extended v) { return hyperbolic_sine(v); }, x);
}
double DCOSH$$(double x) {
  return checked_hyperbolic([](Extended v) { return hyperbolic_cosine(v); }, x);
}

float TANH$$(float x) { return checked_tangent(x); }
double DTANH$$(double x) { return checked_tangent(x); }

float AINT$$(float x) { return truncated(x); }
double DAINT$$(double x) { return truncated(x); }

float MOD$$(float x, float y) { return checked_remainder(x, y); }
double DMOD$$(double x, double y) { return checked_remainder(x, y); }

float ATAN2V$(float y, float x) { return checked_angle(y, x); }
double DATAN2V$(double y, double x) { return checked_angle(y, x); }

double DSIGN$(double size, double sign) {
  return real_of<double>(magnitude(size) | (bits_of(sign) & kSign<double>));
}

float CABS$$(const float* complex) { return checked_modulus(complex[0], complex[1]); }
double ZABS$$(const double* complex) { return checked_modulus(complex[0], complex[1]); }

double XX$DD(double x, double y) {
  if (is_nan(x)) return quieted(x);
  if (is_nan(y)) return quieted(y);
  if (is_zero(x) && (is_zero(y) || is_negative(y))) raise_error(kRuntimeErrorZeroPower);
  if (is_negative(x) && !is_zero(x) && !is_integral(y)) raise_error(kRuntimeErrorNegativePower);

  double result;
  if (is_infinite(x) || is_infinite(y)) {
    result = infinite_power(x, y);
  } else if (is_zero(x)) {
    result = 0.0;
  } else {
    result = evaluate([](Extended a, Extended b) { return positive_power(absolute(a), b); }, x, y);
    if (is_infinite(result)) raise_error(kRuntimeErrorPowerOverflow);
  }
  return is_negative(x) && is_odd(y) ? real_of<double>(bits_of(result) | kSign<double>) : result;
}

}  // namespace paneview
