// The logarithms of base e, 10 and 2.
#include "paneview/logarithm.h"

namespace paneview {
namespace {

constexpr std::uint64_t kRuntimeErrorLogarithm = 34;

struct Scale {
  double high, low;  // high of 26 bits
};

constexpr Scale scale_of(Wide value) {
  const double high = on_grid(value, 25);
  return {high, rest_of(value, high)};
}

constexpr Scale kNatural = {1, 0};
constexpr Scale kDecimal = scale_of(1 / kWideLn10);
constexpr Scale kBinary = scale_of(1 / kWideLn2);

template <Scale kScale>
PANEVIEW_INLINE double scaled_logarithm(double x, int exponent) {
  const Pair natural = logarithm(x, exponent);
  if (kScale.high == 1) return natural.high + natural.low;
  const double first = leading(natural.high);
  const double rest = (natural.high - first) + natural.low;
  return first * kScale.high + (first * kScale.low + rest * (kScale.high + kScale.low));
}

template <Scale kScale>
PANEVIEW_RARE double TARNAPI extreme_logarithm(double x) {
  if (is_nan(x)) return quieted(x);
  if (is_infinite(x)) return x;
  int exponent;
  x = normalised(x, &exponent);
  return nearest([exponent](double v) { return scaled_logarithm<kScale>(v, exponent); }, x);
}

template <Scale kScale>
PANEVIEW_INLINE double double_logarithm(double x) {
  if (!is_positive_normal(x)) {
    if (!is_nan(x) && (is_zero(x) || is_negative(x))) raise_error(kRuntimeErrorLogarithm);
    return extreme_logarithm<kScale>(x);
  }
  return nearest([](double v) { return scaled_logarithm<kScale>(v, 0); }, x);
}

// z c is exact for a single z. Within 2^-34.
template <Scale kScale>
PANEVIEW_INLINE float single_logarithm(float x) {
  const bool ordinary = is_positive_normal(x);
  if (!ordinary) {
    if (is_nan(x)) return quieted(x);
    if (is_zero(x) || is_negative(x)) raise_error(kRuntimeErrorLogarithm);
    if (is_infinite(x)) return x;
  }
  return nearest_single(
      ordinary,
      [](double v) {
        const auto [k, z_bits, row] = place_of(v);
        const double r = real_of<double>(z_bits) * row.c - 1;
        const double s = r * r;
        const double series = (-1.0 / 2 + r * (1.0 / 3)) + s * (-1.0 / 4 + r * (1.0 / 5));
        return ((static_cast<double>(k) * kLn2 + row.high) + (r + s * series)) *
               (kScale.high + kScale.low);
      },
      x);
}

}  // namespace

double DALOG$$(double x) { return double_logarithm<kNatural>(x); }
double DAL10$$(double x) { return double_logarithm<kDecimal>(x); }
double DALG2$$(double x) { return double_logarithm<kBinary>(x); }

float ALOG$$(float x) { return single_logarithm<kNatural>(x); }
float AL10$$(float x) { return single_logarithm<kDecimal>(x); }
float ALG2$$(float x) { return single_logarithm<kBinary>(x); }

}  // namespace paneview
