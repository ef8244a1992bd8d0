// What the tables of the elementary kernels are made of: functions of 113 bits
// in constant expressions, by series that converge everywhere they are used.
#pragma once

#include <cstddef>
#include <cstdint>

namespace paneview {

using Wide = __float128;

template <typename Row, std::size_t kRows>
struct Table {
  Row rows[kRows];
  constexpr Row& operator[](std::size_t i) { return rows[i]; }
  constexpr const Row& operator[](std::size_t i) const { return rows[i]; }
  static constexpr std::size_t size() { return kRows; }
};

constexpr Wide wide_square_root(Wide x) {
  Wide root = 1;
  for (int i = 0; i < 12; ++i) root = (root + x / root) / 2;
  return root;
}

constexpr Wide wide_exponential(Wide x) {
  Wide sum = 1, term = 1;
  for (int i = 1; i < 40; ++i) sum += term *= x / i;
  return sum;
}

constexpr Wide wide_logarithm(Wide x) {
  const Wide ratio = (x - 1) / (x + 1);
  Wide sum = 0, power = ratio;
  for (int i = 1; i < 80; i += 2, power *= ratio * ratio) sum += power / i;
  return 2 * sum;
}

constexpr Wide wide_arc_tangent(Wide x) {  // Euler's series
  const Wide ratio = x * x / (1 + x * x);
  Wide term = x / (1 + x * x), sum = term;
  for (int i = 1; i < 120; ++i) sum += term *= ratio * (2 * i) / (2 * i + 1);
  return sum;
}

constexpr Wide wide_arc_sine(Wide x) { return wide_arc_tangent(x / wide_square_root(1 - x * x)); }

inline constexpr Wide kWideLn2 = wide_logarithm(2);
inline constexpr Wide kWideLn10 = wide_logarithm(1.25) + 3 * kWideLn2;
inline constexpr Wide kWidePi = 4 * wide_arc_tangent(1);

// The multiple of 2^-bits nearest to x.
constexpr double on_grid(Wide x, int bits) {
  const Wide unit = Wide{1} / (std::int64_t{1} << bits);
  return static_cast<double>(
      static_cast<Wide>(static_cast<std::int64_t>(x / unit + (x < 0 ? -0.5 : 0.5))) * unit);
}

constexpr double rest_of(Wide x, double part) { return static_cast<double>(x - part); }

}  // namespace paneview
