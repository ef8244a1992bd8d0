// The inverse trigonometric functions.
//
// f(x) = f(c) + t + t (f'(c) - 1) + t^2 (f''(c) / 2 + ...), c the nearest multiple of
// 2^-7 and t = x - c, from a row of a table (as S. Gal and B. Bachelis, An
// accurate elementary mathematical library for the IEEE floating point standard, ACM TOMS
// 17, 1991). f(c) is a pair and f(c) + t is exact; what follows is small beside it, as the
// slope is 1 at 0. The error stays below 2^-59 of the result.
#include "paneview/kernel_tables.h"
#include "paneview/kernels.h"

namespace paneview {
namespace {

constexpr std::uint64_t kRuntimeErrorAsinAcos = 26;
constexpr std::uint64_t kRuntimeErrorAtan2 = 33;

constexpr int kRowsPerUnit = 128;
constexpr int kTerms = 7;

struct ArcRow {
  Pair value;
  Table<double, kTerms> terms;  // of t, less 1, of t^2 and so on
};

// From the Taylor coefficients of the slope.
constexpr ArcRow arc_row(Wide value, const Table<Wide, kTerms>& slope) {
  const auto high = static_cast<double>(value);
  ArcRow row{{high, rest_of(value, high)}, {static_cast<double>(slope[0] - 1)}};
  for (std::size_t i = 1; i < kTerms; ++i)
    row.terms[i] = static_cast<double>(slope[i] / static_cast<int>(i + 1));
  return row;
}

// From (1 - x^2) g' = x g for the slope g.
constexpr auto kArcSines = [] {
  Table<ArcRow, kRowsPerUnit / 2 + 1> table{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    const Wide c = Wide{static_cast<double>(i)} / kRowsPerUnit;
    Table<Wide, kTerms> g{1 / wide_square_root(1 - c * c)};
    for (std::size_t n = 0; n + 1 < kTerms; ++n) {
      const Wide order = static_cast<double>(n);
      g[n + 1] =
          (c * (2 * order + 1) * g[n] + (n ? order * g[n - 1] : 0)) / ((1 - c * c) * (order + 1));
    }
    table[i] = arc_row(wide_arc_sine(c), g);
  }
  return table;
}();

// From (1 + x^2) g = 1.
constexpr auto kArcTangents = [] {
  Table<ArcRow, kRowsPerUnit + 1> table{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    const Wide c = Wide{static_cast<double>(i)} / kRowsPerUnit;
    Table<Wide, kTerms> g{1 / (1 + c * c)};
    for (std::size_t n = 1; n < kTerms; ++n)
      g[n] = -(2 * c * g[n - 1] + (n > 1 ? g[n - 2] : 0)) / (1 + c * c);
    table[i] = arc_row(wide_arc_tangent(c), g);
  }
  return table;
}();

constexpr Pair kPi = {static_cast<double>(kWidePi), rest_of(kWidePi, static_cast<double>(kWidePi))};
constexpr Pair kHalfPi = {kPi.high / 2, kPi.low / 2};

template <std::size_t kRows>
PANEVIEW_INLINE const ArcRow& nearest_row(const Table<ArcRow, kRows>& table, double x, double* t) {
  constexpr double kBias = 0x1.8p52 / kRowsPerUnit;
  const double biased = x + kBias;
  *t = x - (biased - kBias);
  return table[static_cast<std::size_t>(bits_of(biased) & 0xFF)];
}

// 2^-100 < x, within the table
template <std::size_t kRows>
PANEVIEW_INLINE Pair arc(const Table<ArcRow, kRows>& table, Pair x) {
  double t;
  const ArcRow& row = nearest_row(table, x.high, &t);
  const auto& c = row.terms;
  const double s = t * t;
  const Pair sum = exact_sum(row.value.high, t);
  const double series =
      (c[0] + t * c[1]) + s * ((c[2] + t * c[3]) + s * ((c[4] + t * c[5]) + s * c[6]));
  return {sum.high, (sum.low + (row.value.low + t * series)) + (x.low + x.low * c[0])};
}

// Likewise as one double, for single results: within 2^-37.
template <std::size_t kRows>
PANEVIEW_INLINE double short_arc(const Table<ArcRow, kRows>& table, double x) {
  double t;
  const ArcRow& row = nearest_row(table, x, &t);
  const auto& c = row.terms;
  const double s = t * t;
  return (row.value.high + t) + t * ((c[0] + t * c[1]) + s * (c[2] + t * c[3]));
}

// base + factor * x
PANEVIEW_INLINE double turned(Pair base, double factor, Pair x) {
  const Pair sum = exact_sum(base.high, factor * x.high);
  return sum.high + (sum.low + (base.low + factor * x.low));
}

// ---- Arc sine and cosine --------------------------------------------------------------

// The arc sine up to a half is the table's; beyond it
// asin x = pi / 2 - 2 asin(sqrt((1 - x) / 2)).
PANEVIEW_INLINE Pair half_complement(double x) {
  const double square = (1 - x) / 2;
  const double root = square_root(square);
  const double r1 = leading(root), r2 = root - r1;
  const double inverse = 0.5 / root;
  return {root, ((square - r1 * r1) - r2 * (root + r1)) * inverse};
}

PANEVIEW_INLINE double double_arc_sine(double x) {
  const double size = absolute(x);
  if (size <= 0.5) {
    const Pair angle = arc(kArcSines, {size, 0});
    return with_sign(angle.high + angle.low, x);
  }
  return with_sign(turned(kHalfPi, -2, arc(kArcSines, half_complement(size))), x);
}

PANEVIEW_INLINE double double_arc_cosine(double x) {
  const double size = absolute(x);
  if (size <= 0.5) return turned(kHalfPi, is_negative(x) ? 1 : -1, arc(kArcSines, {size, 0}));
  const Pair angle = arc(kArcSines, half_complement(size));
  return is_negative(x) ? turned(kPi, -2, angle) : 2 * (angle.high + angle.low);
}

// ---- Angle ----------------------------------------------------------------------------

// The angle of (x, y) from that of the smaller to the larger of them.
PANEVIEW_INLINE double in_its_octant(Pair angle, double y, double x) {
  const bool steep = magnitude(y) > magnitude(x);
  const Pair none = {0, 0};
  const Pair base = steep ? kHalfPi : is_negative(x) ? kPi : none;
  const double factor = steep != is_negative(x) ? -1 : 1;
  return with_sign(turned(base, factor, angle), y);
}

PANEVIEW_INLINE double double_angle(double y, double x) {
  const double a = absolute(y), b = absolute(x);
  const Pair ratio = a < b ? quotient({a, 0}, {b, 0}) : quotient({b, 0}, {a, 0});
  return in_its_octant(arc(kArcTangents, ratio), y, x);
}

constexpr int kFar = 64;  // exponents apart: then the angle is the ratio, or the axis

// For all that is not ordinary; neither is a NaN, and not both are 0.
PANEVIEW_RARE double TARNAPI extreme_angle(double y, double x) {
  const double one_y = with_sign(1.0, y), one_x = with_sign(1.0, x);
  if (is_infinite(y) && is_infinite(x)) return extreme_angle(one_y, one_x);
  if (is_infinite(y) || is_zero(x)) return in_its_octant({0, 0}, one_y, with_sign(0.0, x));
  if (is_infinite(x) || is_zero(y)) return in_its_octant({0, 0}, with_sign(0.0, y), one_x);
  int y_exponent, x_exponent;
  y = significand(y, &y_exponent);
  x = significand(x, &x_exponent);
  const int apart = y_exponent - x_exponent;
  if (apart > kFar) return in_its_octant({0, 0}, one_y, with_sign(0.0, x));
  if (apart >= -kFar) return double_angle(shifted(y, apart), x);
  if (is_negative(x)) return in_its_octant({0, 0}, with_sign(0.0, y), one_x);
  return with_sign(scaled(quotient({absolute(y), 0}, {x, 0}), apart), y);
}

PANEVIEW_INLINE bool is_ordinary_angle(double y, double x) {
  const int apart = exponent_of(y) - exponent_of(x);
  return is_of_exponent<-400, 400>(y) && is_of_exponent<-400, 400>(x) && apart >= -kFar &&
         apart <= kFar;
}

}  // namespace

double DASIN$$(double x) {
  if (!is_of_exponent<-27, 0>(x)) {
    if (is_nan(x)) return quieted(x);
    if (magnitude(x) > kOne<double>) raise_error(kRuntimeErrorAsinAcos);
    return magnitude(x) == kOne<double> ? with_sign(kHalfPi.high, x) : x;
  }
  return nearest([](double v) { return double_arc_sine(v); }, x);
}

double DACOS$$(double x) {
  if (!is_of_exponent<-60, 0>(x)) {
    if (is_nan(x)) return quieted(x);
    if (magnitude(x) > kOne<double>) raise_error(kRuntimeErrorAsinAcos);
    if (magnitude(x) < kOne<double>) return kHalfPi.high;
    return is_negative(x) ? kPi.high : 0;
  }
  return nearest([](double v) { return double_arc_cosine(v); }, x);
}

double DATAN2V$(double y, double x) {
  if (__builtin_expect(is_ordinary_angle(y, x), 1)) {
    return nearest([](double a, double b) { return double_angle(a, b); }, y, x);
  }
  if (is_nan(y)) return quieted(y);
  if (is_nan(x)) return quieted(x);
  if (is_zero(x) && is_zero(y)) raise_error(kRuntimeErrorAtan2);
  return nearest([](double a, double b) { return extreme_angle(a, b); }, y, x);
}

// ---- Single ------------------------------------------------------------------------------

PANEVIEW_INLINE double single_arc_sine(double x) {
  const double size = absolute(x);
  if (size <= 0.5) return with_sign(short_arc(kArcSines, size), x);
  return with_sign(kHalfPi.high - 2 * short_arc(kArcSines, square_root((1 - size) / 2)), x);
}

PANEVIEW_INLINE double single_arc_cosine(double x) {
  const double size = absolute(x);
  if (size <= 0.5) return kHalfPi.high - with_sign(short_arc(kArcSines, size), x);
  const double angle = 2 * short_arc(kArcSines, square_root((1 - size) / 2));
  return is_negative(x) ? kPi.high - angle : angle;
}

float ASIN$$(float x) {
  const bool ordinary = is_of_exponent<-126, 0>(x);
  if (!ordinary) {
    if (is_nan(x)) return quieted(x);
    if (magnitude(x) > kOne<float>) raise_error(kRuntimeErrorAsinAcos);
  }
  return nearest_single(
      ordinary, [](double v) { return single_arc_sine(v); }, x);
}

float ACOS$$(float x) {
  const bool ordinary = is_of_exponent<-126, 0>(x);
  if (!ordinary) {
    if (is_nan(x)) return quieted(x);
    if (magnitude(x) > kOne<float>) raise_error(kRuntimeErrorAsinAcos);
  }
  return nearest_single(
      ordinary, [](double v) { return single_arc_cosine(v); }, x);
}

float ATAN2V$(float y, float x) {
  const bool ordinary = is_of_exponent<-60, 60>(y) && is_of_exponent<-60, 60>(x);
  if (!ordinary) {
    if (is_nan(y)) return quieted(y);
    if (is_nan(x)) return quieted(x);
    if (is_zero(x) && is_zero(y)) raise_error(kRuntimeErrorAtan2);
    if (is_infinite(y) && is_infinite(x)) {
      y = with_sign(1.0f, y);
      x = with_sign(1.0f, x);
    }
  }
  return nearest_single(
      ordinary,
      [](double a, double b) {
        const double rise = absolute(a), run = absolute(b);
        const double ratio = rise < run ? rise / run : run / rise;
        return in_its_octant({short_arc(kArcTangents, ratio), 0}, a, b);
      },
      y, x);
}

}  // namespace paneview
