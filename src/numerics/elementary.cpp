#include "numerics/elementary.h"

#include "numerics/real_bits.h"
#include "numerics/x87.h"
#include "process/process_state.h"

namespace tarn {
namespace {

constexpr double kLargeResult = 1e308;
constexpr double kExpLimit = 708.25;
constexpr std::uint32_t kExpLimitHighWord = 0x40862200;
constexpr Extended kPowerLimit = 1025.0L;        // on the exponent of 2
constexpr Extended kOrdinaryExponent = 1020.0L;  // a power below has no limit to meet
constexpr Extended kLargestDouble = 0x1.fffffffffffffp1023L;
constexpr Extended kSmallestNormal = 0x1p-1022L;
constexpr Extended kLog2E = 0xb.8aa3b295c17f0bcp-3L;
constexpr Extended kLn2 = 0xb.17217f7d1cf79acp-4L;
constexpr Extended kLog10Of2 = 0x9.a209a84fbcff799p-5L;
constexpr Extended kSqrt2 = 0xb.504f333f9de6484p-3L;

// The errors of __xxdd.
constexpr std::int32_t kPowerDomain = 1;
constexpr std::int32_t kPowerRange = 2;

double failed(std::int32_t code, double value) {
  set_errno(code);
  return value;
}

// 2^t, |t| <= 1025, under kX87Nearest: t = i + f with 0 <= f < 1. The upper half
// of f's range is computed by the square root of 2, which keeps the argument of f2xm1
// small. Both without a change of the control word, which would cost more than
// all the rest, and without a branch: with the integer n nearest to t, an f of the
// upper half is t - n + 1, rounded as t - i is, and half of the root times 2^n is
// the root times 2^i. Where t - n is a half the lower half's way has the same bits.
[[gnu::always_inline]] inline Extended power_of_2(Extended t) {
  static constexpr struct {
    Extended times;
    float add, subtract;
  } kHalves[2] = {{1.0L, 0.0f, 0.0f}, {kSqrt2 / 2, 1.0f, 0.5f}};
  Extended n, rest;
  x87_split(t, &n, &rest);
  const auto& half = kHalves[rest < 0];
  const Extended f = rest + static_cast<Extended>(half.add);
  const Extended reduced = f - static_cast<Extended>(half.subtract);
  return x87_scale(x87_exp2m1(reduced) + 1, n) * half.times;
}

// One test for all that is ordinary.
[[gnu::always_inline]] inline bool is_positive_normal(double x) {
  return __builtin_expect((bits_of(x) >> 52) - 1 < 0x7FE, 1);
}

[[gnu::always_inline]] inline double logarithm(double x, Extended scale) {
  if (!is_positive_normal(x)) {
    if (is_nan(x) || is_below_zero(x)) return failed(kErrnoDomain, kLargeResult);
    if (is_zero(x)) return failed(kErrnoRange, -kLargeResult);
  }
  return x87_double(x87_ylog2(scale, x87_load(x)));
}

// Whether |y log2(x)| < 1020 by the exponents alone: with 2^e <= x < 2^(e+1) the logarithm is at
// most |e|, or e + 1, and |y| below the power of 2 after its exponent. The processor does this
// while it computes the logarithm; a test of that would follow it.
[[gnu::always_inline]] inline bool has_small_exponents(double x, double y) {
  const std::int64_t e = static_cast<std::int64_t>(bits_of(x) >> 52) - 1023;
  const std::int64_t most = (e ^ (e >> 63)) + 1;
  const std::int64_t after = static_cast<std::int64_t>(bits_of(y) >> 52 & 0x7FF) - 1022;
  return after < 10 && most << (after > 0 ? after : 0) < 1020;
}

// x^y where neither the arguments nor the result are special, as most are not.
[[gnu::always_inline]] inline bool ordinary_power(double x, double y, double* power) {
  const bool is_small = has_small_exponents(x, y);
  if (!is_positive_normal(x) || (!is_small && !is_finite(y))) return false;
  const Extended t = x87_ylog2(x87_load(y), x87_load(x));
  if (!__builtin_expect(is_small || __builtin_fabsl(t) < kOrdinaryExponent, 1)) return false;
  x87_set_nearest();
  *power = x87_double(power_of_2(t));
  return true;
}

// x^y; the result is 0 or one of the errors.
[[gnu::noinline, gnu::cold]] std::int32_t TARNAPI real_power(double x, double y, double* power) {
  if (is_nan(x) || is_nan(y) || is_below_zero(x)) return kPowerDomain;
  const Extended t = x87_ylog2(x87_load(y), x87_load(x));
  if (t != t) return kPowerDomain;
  if (t >= kPowerLimit) return kPowerRange;
  *power = 0.0;
  if (t <= -kPowerLimit) return 0;
  x87_set_nearest();
  const Extended value = power_of_2(t);
  if (value >= kLargestDouble) return kPowerRange;
  if (value > kSmallestNormal) *power = x87_double(value);
  return 0;
}

bool fits_32_bits(double integral) { return integral >= -0x1p31 && integral < 0x1p31; }

// Beyond 2^53 every double is even.
bool is_odd(double integral) {
  return integral > -0x1p53 && integral < 0x1p53 && (static_cast<std::int64_t>(integral) & 1) != 0;
}

double negative_to_power(double x, double y) {
  double integral;
  if (!is_zero(modf(y, &integral))) return failed(kErrnoDomain, kLargeResult);
  if (fits_32_bits(y)) return __xxjj(x, static_cast<std::int32_t>(y));
  const double size = pow(-x, y);
  return is_odd(y) ? -size : size;
}

[[gnu::noinline, gnu::cold]] double TARNAPI unusual_power(double x, double y) {
  if (is_nan(x) || is_nan(y)) return failed(kErrnoDomain, kLargeResult);
  if (is_zero(x) && (is_zero(y) || is_below_zero(y))) return failed(kErrnoDomain, kLargeResult);
  if (is_below_zero(x)) return negative_to_power(x, y);
  double result;
  const std::int32_t error = real_power(x, y, &result);
  set_errno(0);
  if (error == 0) return result;
  return failed(error == kPowerDomain ? kErrnoDomain : kErrnoRange, kLargeResult);
}

}  // namespace

double exp(double x) {
  const bool ordinary = magnitude_bits(x) < bits_of(700.0);
  if (__builtin_expect(!ordinary, 0)) {
    if (is_nan(x)) return failed(kErrnoDomain, kLargeResult);
    if (x > kExpLimit) return failed(kErrnoRange, kLargeResult);
  }
  x87_set_nearest();
  if (!ordinary && (high_word(x) & 0x7FFFFFFF) > kExpLimitHighWord) return 0.0;
  return x87_double(power_of_2(x87_load(x) * kLog2E));
}

double log(double x) { return logarithm(x, kLn2); }

double log10(double x) { return logarithm(x, kLog10Of2); }

double frexp(double x, std::int32_t* exponent) {
  if (is_zero(x) || !is_finite(x)) {
    *exponent = 0;
    return is_zero(x) ? 0.0 : x;
  }
  Extended significand, power;
  x87_extract(x87_load(x), &significand, &power);
  *exponent = static_cast<std::int32_t>(power) + 1;
  return x87_double(significand / 2);
}

double ldexp(double x, std::int32_t exponent) {
  const double result = x87_double(x87_scale(x87_load(x), static_cast<Extended>(exponent)));
  asm volatile("fwait");  // an unmasked overflow traps here, not at some later x87 instruction
  return result;
}

double modf(double x, double* integral) {
  x87_set_nearest();
  const Extended value = x87_load(x);
  const double whole = x87_double(x87_truncate(value));
  *integral = whole;
  return x87_double(value - x87_load(whole));
}

std::int32_t abs(std::int32_t x) {
  return x < 0 ? static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(x)) : x;
}

std::int32_t labs(std::int32_t x) { return abs(x); }

double __xxjj(double x, std::int64_t n) {
  std::uint64_t bits = static_cast<std::uint64_t>(n);
  if (n <= 0) {
    if (is_zero(x)) return failed(kErrnoDomain, kLargeResult);
    x = 1.0 / x;
    bits = 0 - bits;
  }
  double result = 1.0;
  do {
    if ((bits & 1) != 0) result *= x;
    // The compiler must not drop the last squaring: it may trap.
    x *= x;
    asm volatile("" : "+x"(x));
    bits >>= 1;
  } while (bits != 0);
  return result;
}

double __xxdd(double x, double y) {
  double result;
  if (ordinary_power(x, y, &result)) return result;
  const std::int32_t error = real_power(x, y, &result);
  return error == 0 ? result : failed(error, kLargeResult);
}

double pow(double x, double y) {
  double result;
  if (!ordinary_power(x, y, &result)) return unusual_power(x, y);
  set_errno(0);
  return result;
}

}  // namespace tarn
