// The natural logarithm as a pair of numbers.
//
// x = 2^k z, z between 0.709 and 1.418, and c from a table with z c = 1 + r near
// 1: ln x = k ln 2 - ln c + ln (1 + r) (P. T. P. Tang, Table-driven
// implementation of the logarithm function in IEEE floating-point arithmetic,
// ACM TOMS 16, 1990). c is a multiple of 2^-9 and z is taken in two parts, so
// that r = r1 + r2 is exact, with r1 of 23 bits: r1^2 is exact too, and so are the
// sums of the leading terms. What is computed in double precision begins with r^3 / 3,
// at most 2^-24 of r. The error stays below 2^-68 of the result.
#pragma once

#include "paneview/kernel_tables.h"
#include "paneview/kernels.h"

namespace paneview {

struct LogarithmRow {
  double c;
  double high, low;  // -ln c; high is a multiple of 2^-42
};

inline constexpr int kLogarithmRows = 128;
// The least z: half a row below the bits of a number whose row has 1 in its middle.
inline constexpr std::uint64_t kLeastZ = 0x3FE6B00000000000;
inline constexpr auto kLogarithms = [] {
  Table<LogarithmRow, kLogarithmRows> table{};
  for (std::size_t i = 0; i < kLogarithmRows; ++i) {
    const std::uint64_t middle = kLeastZ + (2 * i + 1) * (std::uint64_t{1} << 44);
    const double c = on_grid(1 / Wide{__builtin_bit_cast(double, middle)}, 9);
    const Wide value = -wide_logarithm(c);
    table[i] = {c, on_grid(value, 42), rest_of(value, on_grid(value, 42))};
  }
  return table;
}();

inline constexpr double kLn2 = static_cast<double>(kWideLn2);
inline constexpr double kLn2High = on_grid(kWideLn2, 42);  // k times it is exact
inline constexpr double kLn2Low = rest_of(kWideLn2, kLn2High);

// x = 2^k z for a positive normal x, and the row for z.
struct LogarithmPlace {
  int k;
  std::uint64_t z_bits;
  const LogarithmRow& row;
};

PANEVIEW_INLINE LogarithmPlace place_of(double x) {
  const std::uint64_t from_least = bits_of(x) - kLeastZ;
  return {static_cast<int>(static_cast<std::int64_t>(from_least) >> 52),
          bits_of(x) - (from_least >> 52 << 52),
          kLogarithms[from_least >> 45 & (kLogarithmRows - 1)]};
}

// x * 2^exponent = 2^k z, z c = 1 + r1 + r2
struct ReducedLogarithm {
  double k, r1, r2;
  const LogarithmRow& row;
};

PANEVIEW_INLINE ReducedLogarithm reduced_logarithm(double x, int exponent) {
  const LogarithmPlace place = place_of(x);
  const double z = real_of<double>(place.z_bits), c = place.row.c;
  // Rounded to a multiple of 2^-20, so that r1 is 0 where r is small.
  const double z1 = (z + 0x1.8p32) - 0x1.8p32;
  return {static_cast<double>(place.k + exponent), z1 * c - 1, (z - z1) * c, place.row};
}

// ln(x * 2^exponent) for a positive normal x, not normalised: |low| < 2^-6 |high|.
// Within 2^-61.
PANEVIEW_INLINE Pair logarithm(double x, int exponent) {
  const auto [k, r1, r2, row] = reduced_logarithm(x, exponent);
  const double r = r1 + r2, s = r * r;
  const Pair sum = exact_sum((k * kLn2High + row.high) + r1, r2);
  const double series = (-1.0 / 2 + r * (1.0 / 3)) +
                        s * ((-1.0 / 4 + r * (1.0 / 5)) + s * (-1.0 / 6 + r * (1.0 / 7)));
  return {sum.high, sum.low + ((k * kLn2Low + row.low) + s * series)};
}

// Likewise within 2^-68. Double precision begins with r^3 / 3.
PANEVIEW_INLINE Pair precise_logarithm(double x, int exponent) {
  const auto [k, r1, r2, row] = reduced_logarithm(x, exponent);
  const double r = r1 + r2, s = r * r;
  const Pair first = exact_sum((k * kLn2High + row.high) + r1, -0.5 * (r1 * r1));
  const Pair sum = exact_sum(first.high, r2);
  const double series =
      (1.0 / 3 + r * (-1.0 / 4)) +
      s * ((1.0 / 5 + r * (-1.0 / 6)) + s * ((1.0 / 7 + r * (-1.0 / 8)) + s * (1.0 / 9)));
  const double rest = (k * kLn2Low + row.low) - r2 * (r1 + 0.5 * r2);
  return {sum.high, (first.low + sum.low) + rest + s * r * series};
}

}  // namespace paneview
