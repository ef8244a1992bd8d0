// e^x as a pair of numbers.
//
// x = (k / 128) ln 2 + r, e^x = 2^(k / 128) e^r: the power from a table of
// pairs, e^r - 1 from its series (P. T. P. Tang, Table-driven implementation of
// the exponential function in IEEE floating-point arithmetic, ACM TOMS 15,
// 1989). The error stays below 2^-61 of the result, by the roundings of r and of
// the series, which are 2^-8.5 at most.
#pragma once

#include "paneview/kernel_tables.h"
#include "paneview/kernels.h"

namespace paneview {

inline constexpr int kPowerSteps = 128;
inline constexpr auto kPowers = [] {
  Table<Pair, kPowerSteps> table{};
  for (int i = 0; i < kPowerSteps; ++i) {
    const Wide power = wide_exponential(kWideLn2 * i / kPowerSteps);
    table[static_cast<std::size_t>(i)].high = static_cast<double>(power);
    table[static_cast<std::size_t>(i)].low = rest_of(power, static_cast<double>(power));
  }
  return table;
}();

// Of 35 bits, so that k times it is exact.
inline constexpr double kLn2Step = on_grid(kWideLn2 / kPowerSteps, 42);
inline constexpr double kLn2StepRest = rest_of(kWideLn2 / kPowerSteps, kLn2Step);
inline constexpr double kStepsPerLn2 = static_cast<double>(kPowerSteps / kWideLn2);
inline constexpr double kToInteger = 0x1.8p52;  // added, it rounds to an integer in the low bits

// The multiple of ln 2 / 128 nearest to x, |x| < 2^10.
struct PowerStep {
  double k;
  std::int32_t step;  // the same
};

PANEVIEW_INLINE PowerStep nearest_step(double x) {
  const double biased = x * kStepsPerLn2 + kToInteger;
  return {biased - kToInteger, static_cast<std::int32_t>(bits_of(biased))};
}

// x = step / 128 ln 2 + r + rest; r is exact, rest below 2^-25.
struct ReducedExponential {
  double r, rest;
  std::int32_t step;
};

PANEVIEW_INLINE ReducedExponential reduced_exponential(double x) {
  const auto [k, step] = nearest_step(x);
  return {x - k * kLn2Step, -(k * kLn2StepRest), step};
}

// 2^(step / 128) without its exponent, step >> 7.
PANEVIEW_INLINE const Pair& power_of(std::int32_t step) {
  return kPowers[static_cast<std::size_t>(step & (kPowerSteps - 1))];
}

struct Exponential {
  Pair value;  // 1 <= value.high < 2, |value.low| < 2^-7
  int exponent;
};

// e^(x + tail), 2^-200 < |x| < 2^10, tail far smaller.
PANEVIEW_INLINE Exponential exponential(double x, double tail = 0) {
  const ReducedExponential reduced = reduced_exponential(x);
  const double r = reduced.r + (reduced.rest + tail), s = r * r;
  const double series = r + (s * (1.0 / 2 + r * (1.0 / 6)) + s * s * (1.0 / 24 + r * (1.0 / 120)));
  const Pair& power = power_of(reduced.step);
  return {{power.high, power.low + power.high * series}, reduced.step >> 7};
}

// Likewise as one double, for single results: within 2^-38.
PANEVIEW_INLINE double short_exponential(double x) {
  const auto [k, step] = nearest_step(x);
  const double r = x - k * static_cast<double>(kWideLn2 / kPowerSteps);
  const double power = power_of(step).high;
  return shifted(power + power * (r + r * r * (1.0 / 2 + r * (1.0 / 6))), step >> 7);
}

}  // namespace paneview
