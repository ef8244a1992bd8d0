// What the elementary kernels share: numbers by their bits, sums and products
// of two doubles, and the ways in and out of SSE arithmetic.
//
// Programs run with subnormal numbers taken for zero, results too small
// flushed, and with invalid operation, division by zero, overflow and at times
// underflow unmasked. So the kernels compute only with ordinary numbers: what
// an argument is they read from its bits, and a result that may be subnormal or
// infinite is put together from integers.
#pragma once

#include <emmintrin.h>

#include <type_traits>

#include "paneview/paneview.h"
#include "paneview/raise.h"

#define PANEVIEW_INLINE [[gnu::always_inline]] static inline
#define PANEVIEW_RARE [[gnu::noinline, gnu::cold]]

namespace paneview {

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
constexpr Bits<Real> kLeastNormal = Bits<Real>{1} << kFractionBits<Real>;
template <typename Real>
constexpr Bits<Real> kQuietNan = kInfinity<Real> | kLeastNormal<Real> >> 1;

template <typename Real>
PANEVIEW_INLINE constexpr Bits<Real> bits_of(Real x) {
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
PANEVIEW_INLINE Bits<Real> sign_of(Real x) {
  return bits_of(x) & kSign<Real>;
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
PANEVIEW_INLINE bool is_zero(Real x) {
  return magnitude(x) == 0;
}

template <typename Real>
PANEVIEW_INLINE bool is_negative(Real x) {
  return sign_of(x) != 0;
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

PANEVIEW_INLINE float absolute(float x) { return __builtin_fabsf(x); }
PANEVIEW_INLINE double absolute(double x) { return __builtin_fabs(x); }
PANEVIEW_INLINE float with_sign(float x, float sign) { return __builtin_copysignf(x, sign); }
PANEVIEW_INLINE double with_sign(double x, double sign) { return __builtin_copysign(x, sign); }

// Is low <= |x| < high? Both are constants.
template <typename Real>
PANEVIEW_INLINE bool is_between(Real x, Real low, Real high) {
  return __builtin_expect(magnitude(x) - bits_of(low) < bits_of(high) - bits_of(low), 1);
}

// Is 2^kLow <= |x| < 2^kHigh?
template <int kLow, int kHigh, typename Real>
PANEVIEW_INLINE bool is_of_exponent(Real x) {
  constexpr int kBias = sizeof(Real) == 4 ? 127 : 1023;
  const auto field = static_cast<unsigned>(bits_of(x) >> kFractionBits<Real>) & (2 * kBias + 1);
  return __builtin_expect(field - (kBias + kLow) < kHigh - kLow, 1);
}

// Is x positive, normal and finite?
template <typename Real>
PANEVIEW_INLINE bool is_positive_normal(Real x) {
  constexpr unsigned kFields = sizeof(Real) == 4 ? 0xFE : 0x7FE;
  return __builtin_expect(static_cast<unsigned>(bits_of(x) >> kFractionBits<Real>) - 1 < kFields,
                          1);
}

// x * 2^exponent for x and result that are normal.
PANEVIEW_INLINE double shifted(double x, int exponent) {
  return real_of<double>(bits_of(x) + static_cast<std::uint64_t>(exponent) * kLeastNormal<double>);
}

// A subnormal number as a normal one, x = result * 2^*exponent.
PANEVIEW_INLINE double normalised(double x, int* exponent) {
  if (magnitude(x) >= kLeastNormal<double> || is_zero(x)) {
    *exponent = 0;
    return x;
  }
  const int shift = __builtin_clzll(magnitude(x)) - 11;
  *exponent = -shift;
  const std::uint64_t fraction = magnitude(x) << shift & (kLeastNormal<double> - 1);
  return real_of<double>(sign_of(x) | kLeastNormal<double> | fraction);
}

// x = result * 2^*exponent, 1 <= |result| < 2
PANEVIEW_INLINE double significand(double x, int* exponent) {
  x = normalised(x, exponent);
  const int own = exponent_of(x);
  *exponent += own;
  return shifted(x, -own);
}

PANEVIEW_INLINE double square_root(double x) {
  asm("sqrtsd %0, %0" : "+x"(x));
  return x;
}

// ---- Sums and products of two doubles ---------------------------------------------
// T. J. Dekker, A floating-point technique for extending the available
// precision, Numerische Mathematik 18, 1971; but a number is halved by masking
// its bits.

struct Pair {
  double high, low;  // low is small beside high
};

// The first 26 bits. Written out, since the intrinsic clears the upper half first.
PANEVIEW_INLINE double leading(double x) {
  alignas(16) static constexpr std::uint64_t kLeadingBits[2] = {~std::uint64_t{0x7FFFFFF}};
  asm("andpd %1, %0" : "+x"(x) : "m"(kLeadingBits));
  return x;
}

// |a| >= |b| or a = 0
PANEVIEW_INLINE Pair exact_sum(double a, double b) {
  const double sum = a + b;
  return {sum, (a - sum) + b};
}

PANEVIEW_INLINE Pair exact_product(double a, double b) {
  const double a1 = leading(a), a2 = a - a1;
  const double b1 = leading(b), b2 = b - b1;
  const double product = a * b;
  return {product, ((a1 * b1 - product) + a1 * b2 + a2 * b1) + a2 * b2};
}

// (n + n_low) / (d + d_low)
PANEVIEW_INLINE Pair quotient(Pair n, Pair d) {
  const double inverse = 1 / d.high;
  const double q = n.high * inverse;
  const Pair back = exact_product(q, d.high);
  return {q, (((n.high - back.high) - back.low) + (n.low - q * d.low)) * inverse};
}

// (high + low) * 2^exponent, rounded once, for high + low > 0: 0 or infinite if need be.
PANEVIEW_RARE inline double TARNAPI scaled(Pair value, int exponent) {
  const Pair sum = exact_sum(value.high, value.low);
  const int field = static_cast<int>(bits_of(sum.high) >> 52) + exponent;
  if (field >= 0x7FF) return real_of<double>(kInfinity<double>);
  if (field > 0) return shifted(sum.high, exponent);
  if (field < -53) return 0;
  // The part below the significand decides only if it is a half without it.
  const std::uint64_t fraction = bits_of(sum.high) & (kLeastNormal<double> - 1);
  const std::int64_t sticky = sum.low > 0 ? 1 : sum.low < 0 ? -1 : 0;
  const std::uint64_t whole =
      4 * (kLeastNormal<double> | fraction) + static_cast<std::uint64_t>(sticky);
  const int shift = 3 - field;
  const std::uint64_t half = std::uint64_t{1} << (shift - 1), kept = whole >> shift;
  const std::uint64_t behind = whole & (2 * half - 1);
  return real_of<double>(kept + (behind > half || (behind == half && kept % 2 != 0)));
}

// ---- Singles -----------------------------------------------------------------------
// They are computed as doubles and rounded at the end.

PANEVIEW_INLINE double widened(float x) {
  if (magnitude(x) >= kLeastNormal<float>) return static_cast<double>(x);
  const double size = static_cast<std::int32_t>(magnitude(x)) * 0x1p-149;
  return is_negative(x) ? -size : size;
}

PANEVIEW_INLINE float narrowed(double x) {
  if (is_between(x, 0x1p-126, 0x1.ffffffp127)) return static_cast<float>(x);
  const auto sign = static_cast<std::uint32_t>(sign_of(x) >> 32);
  const double size = absolute(x);
  if (size >= 1) return real_of<float>(kInfinity<float> | sign);
  // The sum's last bit stands for 2^-149.
  return real_of<float>(static_cast<std::uint32_t>(bits_of(size * 0x1p149 + 0x1p52)) | sign);
}

// ---- The direction of rounding --------------------------------------------------------

// A quarter and three quarters become 0 and 1 only if they are rounded to the
// nearest. This is quicker than a look at the control register.
PANEVIEW_INLINE bool rounds_to_nearest() {
  alignas(16) static constexpr float kQuarters[4] = {0.25f, 0.75f, 0.25f, 0.75f};
  __m128i integers;
  asm volatile("cvtps2dq %1, %0" : "=x"(integers) : "m"(kQuarters));
  return __builtin_expect(_mm_cvtsi128_si64(integers) == std::int64_t{1} << 32, 1);
}

// The numbers pass through here, so that the compiler keeps the arithmetic
// between the two changes of the control register.
template <typename Formula, typename... Reals>
PANEVIEW_RARE auto TARNAPI directed_otherwise(Formula formula, Reals... x) {
  constexpr std::uint32_t kAllMasked = 0x1F80;
  const std::uint32_t saved = _mm_getcsr();
  _mm_setcsr(kAllMasked);
  const auto pass = [](auto& number) { asm volatile("" : "+x"(number)); };
  (pass(x), ...);
  auto result = formula(x...);
  pass(result);
  _mm_setcsr(saved);
  return result;
}

// The formula's result, computed with rounding to the nearest.
template <typename Formula, typename... Reals>
PANEVIEW_INLINE auto nearest(Formula formula, Reals... x) {
  return rounds_to_nearest() ? formula(x...) : directed_otherwise(formula, x...);
}

template <typename Formula, typename... Reals>
PANEVIEW_RARE float TARNAPI extreme_single(Formula formula, Reals... x) {
  return nearest([formula](auto... each) { return narrowed(formula(widened(each)...)); }, x...);
}

// The same for a formula of doubles and real numbers that are not NaNs; those and
// the result are normal numbers if the case is ordinary.
template <typename Formula, typename... Reals>
PANEVIEW_INLINE float nearest_single(bool ordinary, Formula formula, Reals... x) {
  if (!ordinary) return extreme_single(formula, x...);
  return nearest(
      [formula](auto... each) { return static_cast<float>(formula(static_cast<double>(each)...)); },
      x...);
}

}  // namespace paneview
