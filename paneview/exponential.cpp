// e^x and the hyperbolic functions.
#include "paneview/exponential.h"

namespace paneview {
namespace {

constexpr std::uint64_t kRuntimeErrorSinhCosh = 20;
constexpr std::uint64_t kRuntimeErrorExp = 25;
// From here on e^x is beyond every number of its format, and e^-x is 0.
constexpr double kBeyond = 800;
constexpr float kSingleBeyond = 200;

// ---- Exponential ---------------------------------------------------------------------

PANEVIEW_RARE double TARNAPI extreme_exponential(double x) {
  if (is_nan(x)) return quieted(x);
  if (magnitude(x) < bits_of(0x1p-54)) return 1;
  if (magnitude(x) >= bits_of(kBeyond))
    return is_negative(x) ? 0 : real_of<double>(kInfinity<double>);
  return nearest(
      [](double v) {
        const Exponential e = exponential(v);
        return scaled(e.value, e.exponent);
      },
      x);
}

// ---- Hyperbolic functions --------------------------------------------------------------
//
// With e^x = P e^r and e^-x = M e^-r, P and M from the table:
//   2 sinh x = (P - M) cosh r + (P + M) sinh r
//   2 cosh x = (P + M) cosh r + (P - M) sinh r
// cosh r - 1 and sinh r - r are small, and so is P + M - 2 where P - M is: then
// (P - M) + 2 r is the greatest part of 2 sinh x, and exact.

struct Hyperbolic {
  Pair sine, cosine;  // normalised
  int exponent;       // of both and of the half
};

// 2^-30 < x < kBeyond
PANEVIEW_INLINE Hyperbolic hyperbolic(double x) {
  const auto [r1, r2, step] = reduced_exponential(x);
  const double r = r1 + r2, s = r * r;
  const double odd = r * s * (1.0 / 6 + s * (1.0 / 120));
  const double even = s * (1.0 / 2 + s * (1.0 / 24));

  // All in units of the exponent of P; where M counts for nothing, so does 1.
  const int exponent = step >> 7, bounded = exponent < 100 ? exponent : 100;
  const double one = shifted(1, -bounded);
  const double m_unit = shifted(1, (-step >> 7) + exponent - 2 * bounded);
  const Pair p = power_of(step), m = {power_of(-step).high * m_unit, power_of(-step).low * m_unit};
  Pair sum = exact_sum(p.high, m.high);
  Pair difference = exact_sum(p.high, -m.high);
  sum.low += p.low + m.low;
  difference.low += p.low - m.low;
  const Pair most = exact_sum(difference.high, 2 * one * r1);
  const double rest = ((sum.high - 2 * one) + sum.low) * r + 2 * one * r2;
  return {exact_sum(most.high, (most.low + difference.low) +
                                   (rest + (sum.high * odd + difference.high * even))),
          exact_sum(sum.high, sum.low + (sum.high * even + difference.high * (r + odd))),
          exponent - 1};
}

// Beyond the range of numbers the result is infinite.
PANEVIEW_INLINE double as_double(Pair value, int exponent) {
  if (__builtin_expect(exponent < 1000, 1)) return shifted(value.high, exponent);
  return scaled(value, exponent);
}

}  // namespace

double DEXP$$(double x) {
  if (!is_between(x, 0x1p-54, 704.0)) {
    const double result = extreme_exponential(x);
    if (is_infinite(result)) raise_error(kRuntimeErrorExp);
    return result;
  }
  return nearest(
      [](double v) {
        const Exponential e = exponential(v);
        return shifted(e.value.high + e.value.low, e.exponent);
      },
      x);
}

double DSINH$$(double x) {
  if (!is_between(x, 0x1p-27, kBeyond)) {
    if (is_nan(x)) return quieted(x);
    if (magnitude(x) < kOne<double>) return x;
    raise_error(kRuntimeErrorSinhCosh);
  }
  const double result = nearest(
      [](double v) {
        const Hyperbolic h = hyperbolic(absolute(v));
        return with_sign(as_double(h.sine, h.exponent), v);
      },
      x);
  if (is_infinite(result)) raise_error(kRuntimeErrorSinhCosh);
  return result;
}

double DCOSH$$(double x) {
  if (!is_between(x, 0x1p-27, kBeyond)) {
    if (is_nan(x)) return quieted(x);
    if (magnitude(x) < kOne<double>) return 1;
    raise_error(kRuntimeErrorSinhCosh);
  }
  const double result = nearest(
      [](double v) {
        const Hyperbolic h = hyperbolic(absolute(v));
        return as_double(h.cosine, h.exponent);
      },
      x);
  if (is_infinite(result)) raise_error(kRuntimeErrorSinhCosh);
  return result;
}

double DTANH$$(double x) {
  if (!is_between(x, 0x1p-27, 20.0)) {
    if (is_nan(x)) return quieted(x);
    return magnitude(x) < kOne<double> ? x : with_sign(1.0, x);
  }
  return nearest(
      [](double v) {
        const Hyperbolic h = hyperbolic(absolute(v));
        const Pair result = quotient(h.sine, h.cosine);
        return with_sign(result.high + result.low, v);
      },
      x);
}

// ---- Single ------------------------------------------------------------------------------

float EXP$$(float x) {
  const bool ordinary = is_between(x, 0x1p-126f, 87.0f);
  if (!ordinary) {
    if (is_nan(x)) return quieted(x);
    if (is_negative(x) && magnitude(x) >= bits_of(kSingleBeyond)) return 0;
    if (magnitude(x) >= bits_of(kSingleBeyond)) raise_error(kRuntimeErrorExp);
  }
  const float result = nearest_single(
      ordinary, [](double v) { return short_exponential(v); }, x);
  if (!ordinary && is_infinite(result)) raise_error(kRuntimeErrorExp);
  return result;
}

float SINH$$(float x) {
  const bool ordinary = is_between(x, 0x1p-13f, 88.0f);
  if (!ordinary) {
    if (is_nan(x)) return quieted(x);
    if (magnitude(x) < kOne<float>) return x;
    if (magnitude(x) >= bits_of(kSingleBeyond)) raise_error(kRuntimeErrorSinhCosh);
  }
  const float result = nearest_single(
      ordinary,
      [](double v) {
        if (magnitude(v) < bits_of(0x1p-8)) return v + v * v * v * (1.0 / 6);
        const double power = short_exponential(v);
        return (power - 1 / power) / 2;
      },
      x);
  if (!ordinary && is_infinite(result)) raise_error(kRuntimeErrorSinhCosh);
  return result;
}

float COSH$$(float x) {
  const bool ordinary = is_between(x, 0x1p-126f, 88.0f);
  if (!ordinary) {
    if (is_nan(x)) return quieted(x);
    if (magnitude(x) >= bits_of(kSingleBeyond)) raise_error(kRuntimeErrorSinhCosh);
  }
  const float result = nearest_single(
      ordinary,
      [](double v) {
        const double power = short_exponential(v);
        return (power + 1 / power) / 2;
      },
      x);
  if (!ordinary && is_infinite(result)) raise_error(kRuntimeErrorSinhCosh);
  return result;
}

float TANH$$(float x) {
  if (!is_between(x, 0x1p-13f, 20.0f)) {
    if (is_nan(x)) return quieted(x);
    return magnitude(x) < kOne<float> ? x : with_sign(1.0f, x);
  }
  return nearest_single(
      true,
      [](double v) {
        if (magnitude(v) < bits_of(0x1p-8)) return v - v * v * v * (1.0 / 3);
        const double power = short_exponential(2 * v);
        return (power - 1) / (power + 1);
      },
      x);
}

}  // namespace paneview
