#include "numerics/dot_products.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <random>
#include <vector>

namespace {

// Calls a kernel by its own register contract: what it may change is declared,
// everything else the compiler relies on.
template <class Real, class Kernel>
Real call(Kernel kernel, const Real* a, const Real* b, std::int64_t n, std::int64_t a_stride = 0,
          std::int64_t b_stride = 0) {
  register const Real* first asm("rcx") = a;
  register const Real* second asm("rdx") = b;
  register std::int64_t count asm("r8") = n;
  register std::int64_t first_stride asm("rsi") = a_stride;
  register std::int64_t second_stride asm("rdi") = b_stride;
  register Real sum asm("xmm0");
  asm volatile(
#ifndef _WIN32
      "lea -128(%%rsp), %%rsp\n\t"  // keeps clear of the caller's red zone
#endif
      "call *%[kernel]\n\t"
#ifndef _WIN32
      "lea 128(%%rsp), %%rsp"
#endif
      : "=x"(sum), "+r"(first), "+r"(second), "+r"(count)
      : "r"(first_stride), "r"(second_stride), [kernel] "r"(kernel)
      : "r9", "xmm8", "xmm9", "cc", "memory");
  return sum;
}

std::uint64_t bits(double x) { return std::bit_cast<std::uint64_t>(x); }
std::uint64_t bits(float x) { return std::bit_cast<std::uint32_t>(x); }

// The stated order of the sums.
double model8(const double* a, const double* b, std::int64_t n) {
  double sums[2] = {0.0, 0.0};
  std::int64_t i = 0;
  if (n % 2 != 0) {
    sums[0] = a[0] * b[0];
    i = 1;
  }
  for (; i < n; i += 2) {
    sums[0] += a[i] * b[i];
    sums[1] += a[i + 1] * b[i + 1];
  }
  return sums[0] + sums[1];
}

float model4(const float* a, const float* b, std::int64_t n) {
  float sums[4] = {0.0f, 0.0f, 0.0f, 0.0f};
  std::int64_t i = 0;
  for (; (n - i) % 4 != 0; ++i) sums[0] += a[i] * b[i];
  for (; i < n; ++i) sums[(n - i) % 4 == 0 ? 0 : 4 - (n - i) % 4] += a[i] * b[i];
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

template <class Real>
Real strided_model(const Real* a, const Real* b, std::int64_t n, std::int64_t a_stride,
                   std::int64_t b_stride) {
  Real sum = 0;
  for (std::int64_t i = 0; i < n; ++i) {
    Real x, y;
    std::memcpy(&x, reinterpret_cast<const char*>(a) + i * a_stride, sizeof x);
    std::memcpy(&y, reinterpret_cast<const char*>(b) + i * b_stride, sizeof y);
    sum += x * y;
  }
  return sum;
}

// Two vectors of at most kMost elements, which end exactly where their storage
// does and begin at every alignment of the element.
constexpr std::int64_t kMost = 300;

template <class Real, class Kernel, class Model>
void compare_contiguous(Kernel kernel, Model model) {
  std::mt19937_64 random(3);
  std::uniform_real_distribution<Real> value(-1, 1);
  for (std::int64_t n = 0; n <= kMost; ++n) {
    std::vector<Real> a(static_cast<std::size_t>(n)), b(a.size());
    std::generate(a.begin(), a.end(), [&] { return value(random); });
    std::generate(b.begin(), b.end(), [&] { return value(random); });
    const Real expected = model(a.data(), b.data(), n);
    EXPECT_EQ(bits(call(kernel, a.data(), b.data(), n)), bits(expected)) << "n = " << n;

    std::vector<char> moved_a(a.size() * sizeof(Real) + 8), moved_b(moved_a.size());
    const auto shift = static_cast<std::size_t>(n % 8);
    if (n > 0) {
      std::memcpy(moved_a.data() + shift, a.data(), a.size() * sizeof(Real));
      std::memcpy(moved_b.data() + 5, b.data(), b.size() * sizeof(Real));
    }
    EXPECT_EQ(bits(call(kernel, reinterpret_cast<const Real*>(moved_a.data() + shift),
                        reinterpret_cast<const Real*>(moved_b.data() + 5), n)),
              bits(expected))
        << "unaligned, n = " << n;
  }
}

template <class Real, class Kernel>
void compare_strided(Kernel kernel) {
  std::mt19937_64 random(4);
  std::uniform_real_distribution<Real> value(-1, 1);
  std::vector<Real> a(1000), b(1000);
  std::generate(a.begin(), a.end(), [&] { return value(random); });
  std::generate(b.begin(), b.end(), [&] { return value(random); });
  constexpr std::int64_t kStrides[] = {0, sizeof(Real), -3 * std::int64_t{sizeof(Real)}, 13};
  for (const std::int64_t n : {0, 1, 2, 7, 100}) {
    for (const std::int64_t s : kStrides) {
      for (const std::int64_t t : kStrides) {
        EXPECT_EQ(bits(call(kernel, &a[500], &b[500], n, s, t)),
                  bits(strided_model(&a[500], &b[500], n, s, t)))
            << "n = " << n << ", strides " << s << ", " << t;
      }
    }
  }
}

TEST(DotProducts, SumInTheStatedOrder) {
  compare_contiguous<double>(&tarn::__dotp8, model8);
  compare_contiguous<float>(&tarn::__dotp4, model4);
}

TEST(DotProducts, StridedVectorsSumInElementOrder) {
  compare_strided<double>(&tarn::__dotp8x);
  compare_strided<float>(&tarn::__dotp4x);
}

TEST(DotProducts, NoElementsReadNothing) {
  const double* const no_double = nullptr;
  const float* const no_float = nullptr;
  for (const std::int64_t n : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN}) {
    EXPECT_EQ(bits(call(&tarn::__dotp8, no_double, no_double, n)), 0u);
    EXPECT_EQ(bits(call(&tarn::__dotp8x, no_double, no_double, n, 8, 8)), 0u);
    EXPECT_EQ(bits(call(&tarn::__dotp4, no_float, no_float, n)), 0u);
    EXPECT_EQ(bits(call(&tarn::__dotp4x, no_float, no_float, n, 4, 4)), 0u);
  }
}

}  // namespace
