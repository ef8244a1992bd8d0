// The kernels on the parts of numbers, and the modulus of complex numbers.
#include "paneview/kernels.h"

namespace paneview {
namespace {

constexpr std::uint64_t kRuntimeErrorModByZero = 32;
constexpr std::uint64_t kRuntimeErrorModulus = 171;

// Clears the bits of the fraction that are after the point.
template <typename Real>
PANEVIEW_INLINE Real truncated(Real x) {
  const int exponent = exponent_of(x);
  if (exponent < 0) return real_of<Real>(sign_of(x));
  if (exponent >= kFractionBits<Real>) return is_nan(x) ? quieted(x) : x;
  const Bits<Real> behind = (Bits<Real>{1} << (kFractionBits<Real> - exponent)) - 1;
  return real_of<Real>(bits_of(x) & ~behind);
}

// x = significand * 2^result, the significand with its highest bit where a
// normal number's is.
template <typename Real>
PANEVIEW_INLINE int split(Real x, std::uint64_t* significand) {
  const auto field = static_cast<int>(magnitude(x) >> kFractionBits<Real>);
  const std::uint64_t fraction = magnitude(x) & (kLeastNormal<Real> - 1);
  if (__builtin_expect(field != 0, 1)) {
    *significand = fraction | kLeastNormal<Real>;
    return field;
  }
  const int shift = __builtin_clzll(fraction) - (63 - kFractionBits<Real>);
  *significand = fraction << shift;
  return 1 - shift;
}

// By long division, as many bits of the quotient in each step as 64 bits leave room for.
template <typename Real>
PANEVIEW_INLINE Real remainder(Real x, Real y) {
  constexpr int kRoom = 63 - kFractionBits<Real>;
  std::uint64_t rest, divisor;
  int apart = split(x, &rest);
  int exponent = split(y, &divisor);
  apart -= exponent;
  if (rest >= divisor) rest -= divisor;
  for (; apart > 0 && rest != 0; apart -= kRoom) {
    rest = (rest << (apart < kRoom ? apart : kRoom)) % divisor;
  }
  if (rest == 0) return real_of<Real>(sign_of(x));
  const int shift = __builtin_clzll(rest) - kRoom;
  exponent -= shift;
  rest <<= shift;
  if (exponent <= 0)
    return real_of<Real>(sign_of(x) | static_cast<Bits<Real>>(rest >> (1 - exponent)));
  // The significand's highest bit adds 1 to the exponent.
  const Bits<Real> field = static_cast<Bits<Real>>(exponent - 1) << kFractionBits<Real>;
  return real_of<Real>(sign_of(x) | (field + static_cast<Bits<Real>>(rest)));
}

template <typename Real>
PANEVIEW_INLINE Real checked_remainder(Real x, Real y) {
  if (is_nan(x)) return quieted(x);
  if (is_nan(y)) return quieted(y);
  if (is_zero(y)) raise_error(kRuntimeErrorModByZero);
  if (is_infinite(x)) return real_of<Real>(kQuietNan<Real>);
  if (magnitude(x) < magnitude(y)) return x;
  return remainder(x, y);
}

// ---- Modulus -------------------------------------------------------------------------

// sqrt(x^2 + y^2), 2^-500 < y <= x < 2^500: the squares as pairs, the root
// corrected by what its own square leaves over.
PANEVIEW_INLINE Pair hypotenuse(double x, double y) {
  const double x1 = leading(x), y1 = leading(y);
  const Pair sum = exact_sum(x1 * x1, y1 * y1);
  const double rest = sum.low + ((x - x1) * (x + x1) + (y - y1) * (y + y1));
  const double root = square_root(sum.high + rest);
  const double inverse = 0.5 / root;
  const double r1 = leading(root);
  return {root, ((sum.high - r1 * r1) + (rest - (root - r1) * (root + r1))) * inverse};
}

// Neither part is infinite or a NaN.
PANEVIEW_RARE double TARNAPI extreme_modulus(double x, double y) {
  x = absolute(x);
  y = absolute(y);
  if (is_zero(x)) return y;
  if (is_zero(y)) return x;
  int x_exponent, y_exponent;
  const double x1 = significand(x, &x_exponent), y1 = significand(y, &y_exponent);
  const int apart = y_exponent - x_exponent;
  if (apart > 60) return y;
  if (apart < -60) return x;
  return scaled(apart > 0 ? hypotenuse(shifted(y1, apart), x1) : hypotenuse(x1, shifted(y1, apart)),
                x_exponent);
}

PANEVIEW_INLINE double double_modulus(double x, double y) {
  const double a = absolute(x), b = absolute(y);
  const Pair sum = a < b ? hypotenuse(b, a) : hypotenuse(a, b);
  return sum.high + sum.low;
}

// The result if a part is infinite or a NaN.
template <typename Real>
PANEVIEW_RARE Real TARNAPI modulus_of_no_number(Real x, Real y) {
  if (is_infinite(x) || is_infinite(y)) return real_of<Real>(kInfinity<Real>);
  return quieted(is_nan(x) ? x : y);
}

template <typename Real>
PANEVIEW_INLINE bool is_number(Real x) {
  return magnitude(x) < kInfinity<Real>;
}

}  // namespace

float AINT$$(float x) { return truncated(x); }
double DAINT$$(double x) { return truncated(x); }

float MOD$$(float x, float y) { return checked_remainder(x, y); }
double DMOD$$(double x, double y) { return checked_remainder(x, y); }

double DSIGN$(double size, double sign) { return with_sign(size, sign); }

float CABS$$(const float* complex) {
  const float x = complex[0], y = complex[1];
  if (!is_number(x) || !is_number(y)) return modulus_of_no_number(x, y);
  const bool ordinary = is_of_exponent<-126, 126>(x) && is_of_exponent<-126, 126>(y);
  const float result = nearest_single(
      ordinary, [](double a, double b) { return square_root(a * a + b * b); }, x, y);
  if (is_infinite(result)) raise_error(kRuntimeErrorModulus);
  return result;
}

double ZABS$$(const double* complex) {
  const double x = complex[0], y = complex[1];
  if (is_of_exponent<-450, 450>(x) && is_of_exponent<-450, 450>(y)) {
    return nearest([](double a, double b) { return double_modulus(a, b); }, x, y);
  }
  if (!is_number(x) || !is_number(y)) return modulus_of_no_number(x, y);
  const double result = nearest([](double a, double b) { return extreme_modulus(a, b); }, x, y);
  if (is_infinite(result)) raise_error(kRuntimeErrorModulus);
  return result;
}

}  // namespace paneview
