// x^y = e^(y ln x), the logarithm and the product as pairs of numbers, since an
// error of y ln x, which goes up to 745, is a relative error of the result.
#include "paneview/exponential.h"
#include "paneview/logarithm.h"

namespace paneview {
namespace {

constexpr std::uint64_t kRuntimeErrorZeroPower = 21;
constexpr std::uint64_t kRuntimeErrorNegativePower = 36;
constexpr std::uint64_t kRuntimeErrorPowerOverflow = 439;

// Between these powers of 2 as y, y ln x is neither nothing nor beyond every exponent.
constexpr int kSmallExponent = -66, kLargeExponent = 66;
constexpr double kBeyond = 800;    // e^y ln x is infinite or 0
constexpr double kOrdinary = 704;  // it is an ordinary number

// y ln(x * 2^exponent) for a positive normal x.
PANEVIEW_INLINE Pair scaled_logarithm(double x, int exponent, double y) {
  const Pair log = precise_logarithm(x, exponent);
  const double y1 = leading(y), y2 = y - y1;
  const Pair sum = exact_sum(log.high, log.low);
  const double log1 = leading(sum.high), log2 = (sum.high - log1) + sum.low;
  return {y1 * log1, y2 * log1 + y * log2};
}

// |x|^y where it is not ordinary; neither is a NaN, and it is no error but an overflow.
PANEVIEW_RARE double TARNAPI extreme_power(double x, double y) {
  x = absolute(x);
  if (is_zero(y) || magnitude(x) == kOne<double>) return 1;
  const bool grows = (magnitude(x) > kOne<double>) != is_negative(y);
  const double limit = grows ? real_of<double>(kInfinity<double>) : 0.0;
  if (is_infinite(x) || is_zero(x) || exponent_of(y) >= kLargeExponent) return limit;
  if (exponent_of(y) < kSmallExponent) return 1;
  int exponent;
  x = normalised(x, &exponent);
  return nearest(
      [exponent, limit](double a, double b) {
        const Pair product = scaled_logarithm(a, exponent, b);
        if (magnitude(product.high) >= bits_of(kBeyond)) return limit;
        const Exponential e = exponential(product.high, product.low);
        return scaled(e.value, e.exponent);
      },
      x, y);
}

// Has y no part after the point?
bool is_integral(double y) { return bits_of(DAINT$$(y)) == bits_of(y); }

// y integral: is its last bit before the point set?
bool is_odd(double y) {
  const int exponent = exponent_of(y);
  if (exponent < 0 || exponent > kFractionBits<double>) return false;
  return ((magnitude(y) | kLeastNormal<double>) >> (kFractionBits<double> - exponent) & 1) != 0;
}

}  // namespace

double XX$DD(double x, double y) {
  if (is_positive_normal(x) && is_of_exponent<kSmallExponent, kLargeExponent>(y)) {
    bool extreme = false;
    const double result = nearest(
        [&extreme](double a, double b) {
          const Pair product = scaled_logarithm(a, 0, b);
          extreme = magnitude(product.high) >= bits_of(kOrdinary);
          const Exponential e = exponential(product.high, product.low);
          return shifted(e.value.high + e.value.low, e.exponent);
        },
        x, y);
    if (__builtin_expect(!extreme, 1)) return result;
  }
  if (is_nan(x)) return quieted(x);
  if (is_nan(y)) return quieted(y);
  if (is_zero(x) && (is_zero(y) || is_negative(y))) raise_error(kRuntimeErrorZeroPower);
  if (is_negative(x) && !is_zero(x) && !is_integral(y)) raise_error(kRuntimeErrorNegativePower);
  const double result = extreme_power(x, y);
  if (is_infinite(result) && !is_infinite(x) && !is_infinite(y))
    raise_error(kRuntimeErrorPowerOverflow);
  return is_negative(x) && is_odd(y) ? with_sign(result, x) : result;
}

}  // namespace paneview
