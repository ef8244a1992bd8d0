// Writes docs/accuracy.md: for each function and range the largest error found
// in random samples, in units of the last place of the result, against MPFR;
// and how the special functions compare with the same published routines
// compiled in the ordinary way.
//
// The elementary functions are sampled so often that MPFR would take hours: it is
// asked only where the C library's 80-bit function shows that the error may be the
// largest so far.
//
//   accuracy > docs/accuracy.md

#include <emmintrin.h>
#include <mpfr.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>

#include "numerics/elementary.h"
#include "numerics/intrinsics.h"
#include "numerics/special_functions.h"
#include "paneview/paneview.h"
#include "startup/initialise.h"

namespace {

constexpr int kSamples = 20000;
constexpr int kElementarySamples = 10000000;
// Far more than the 80-bit functions are off, in units of the last place of a double.
constexpr double kMargin = 0.01;
constexpr mpfr_prec_t kPrecision = 160;

using Truth = int (*)(mpfr_t, const mpfr_t, mpfr_rnd_t);
using Estimate = long double (*)(long double);
using Estimate2 = long double (*)(long double, long double);

// A number of MPFR's that lives as long as the program.
struct Number {
  mpfr_t value;
  Number() { mpfr_init2(value, kPrecision); }
};
Number argument, second, result, got_exact;

// How samples are in their range: evenly, or evenly by their logarithm.
enum class Spread { kEven, kByMagnitude };

struct Range {
  double low, high;
  Spread spread = Spread::kEven;
};

double sample(const Range& range, std::mt19937_64& random) {
  std::uniform_real_distribution<double> fraction(0, 1);
  if (range.spread == Spread::kEven) {
    return range.low + (range.high - range.low) * fraction(random);
  }
  const double low = std::log(range.low);
  return std::exp(low + (std::log(range.high) - low) * fraction(random));
}

template <class Real>
double unit_of(Real x) {
  const Real size = std::fabs(x);
  return static_cast<double>(std::nextafter(size, std::numeric_limits<Real>::infinity()) - size);
}

// |got - result| in units of the last place of the result, as a Real has it.
template <class Real>
double error_in_ulps(Real got) {
  const double unit = unit_of(static_cast<Real>(mpfr_get_d(result.value, MPFR_RNDN)));
  mpfr_set_d(got_exact.value, static_cast<double>(got), MPFR_RNDN);
  mpfr_sub(got_exact.value, got_exact.value, result.value, MPFR_RNDN);
  mpfr_div_d(got_exact.value, got_exact.value, unit, MPFR_RNDN);
  return std::fabs(mpfr_get_d(got_exact.value, MPFR_RNDN));
}

template <class Real>
bool is_surely_below(double worst, Real got, long double estimate) {
  const long double error = std::fabs(static_cast<long double>(got) - estimate);
  return error / unit_of(static_cast<Real>(estimate)) + kMargin <= worst;
}

// Each value is computed twice: under the SSE control register of the system, and
// of the start of a program (invalid operation, division by zero and overflow
// unmasked, subnormal numbers flushed and taken for zero).
constexpr int kMasks = 2;

template <class F>
auto under_masks(int which, F&& value) {
  const unsigned before = _mm_getcsr();
  if (which == 1) _mm_setcsr((before & ~0x680u) | 0x8040);
  const auto got = value();
  _mm_setcsr(before);
  return got;
}

struct Worst {
  double error = 0, at = 0;
  void consider(double of, double x) {
    if (std::isnan(error) || of <= error) return;
    error = of;
    at = x;
  }
};

void print_row(const char* name, const Range& range, const char* note,
               const Worst (&worst)[kMasks]) {
  std::printf("| `%s` | %g to %g%s%s | %.3g | %.17g | %.3g |\n", name, range.low, range.high,
              *note ? ", " : "", note, worst[0].error, worst[0].at, worst[1].error);
}

// ---- One argument -----------------------------------------------------------------

template <class Real>
struct OneArgument {
  const char* name;
  Real(TARNAPI* by_value)(Real);
  Real(TARNAPI* by_reference)(const Real*);
  Truth truth;
  Range range;
  Estimate estimate = nullptr;
};

template <class Real>
void measure(const OneArgument<Real>& row) {
  std::mt19937_64 random(1);
  Worst worst[kMasks];
  const int samples = row.estimate ? kElementarySamples : kSamples;
  for (int turn = 0; turn < samples; ++turn) {
    const Real x = static_cast<Real>(sample(row.range, random));
    const long double estimate = row.estimate ? row.estimate(x) : 0;
    for (int i = 0; i < kMasks; ++i) {
      const Real got =
          under_masks(i, [&] { return row.by_value ? row.by_value(x) : row.by_reference(&x); });
      if (row.estimate && is_surely_below(worst[i].error, got, estimate)) continue;
      mpfr_set_d(argument.value, static_cast<double>(x), MPFR_RNDN);
      row.truth(result.value, argument.value, MPFR_RNDN);
      worst[i].consider(error_in_ulps(got), static_cast<double>(x));
    }
  }
  print_row(row.name, row.range, "", worst);
}

int log_gamma(mpfr_t to, const mpfr_t from, mpfr_rnd_t direction) {
  int sign;
  return mpfr_lgamma(to, &sign, from, direction);
}

int scaled_erfc(mpfr_t to, const mpfr_t from, mpfr_rnd_t direction) {
  mpfr_t square;
  mpfr_init2(square, 2 * kPrecision);
  mpfr_sqr(square, from, direction);
  mpfr_exp(square, square, direction);
  mpfr_erfc(to, from, direction);
  mpfr_mul(to, to, square, direction);
  mpfr_clear(square);
  return 0;
}

constexpr Spread kMagnitude = Spread::kByMagnitude;
constexpr double kPi = 3.141592653589793;

const OneArgument<double> kDoubles[] = {
    {"exp", tarn::exp, nullptr, mpfr_exp, {-708, 708.25}, expl},
    {"exp", tarn::exp, nullptr, mpfr_exp, {-1, 1}, expl},
    {"log", tarn::log, nullptr, mpfr_log, {1e-300, 1e300, kMagnitude}, logl},
    {"log", tarn::log, nullptr, mpfr_log, {0.9, 1.1}, logl},
    {"log10", tarn::log10, nullptr, mpfr_log10, {1e-300, 1e300, kMagnitude}, log10l},
    {"log10", tarn::log10, nullptr, mpfr_log10, {0.9, 1.1}, log10l},
    {"DSIN@", nullptr, tarn::DSIN, mpfr_sin, {-kPi / 2, kPi / 2}, sinl},
    {"DSIN@", nullptr, tarn::DSIN, mpfr_sin, {3, 4}, sinl},
    {"DSIN@", nullptr, tarn::DSIN, mpfr_sin, {10, 1e6}, sinl},
    {"DCOS@", nullptr, tarn::DCOS, mpfr_cos, {-1.5, 1.5}, cosl},
    {"DCOS@", nullptr, tarn::DCOS, mpfr_cos, {10, 1e6}, cosl},
    {"DTAN@", nullptr, tarn::DTAN, mpfr_tan, {-1.5, 1.5}, tanl},
    {"DTAN@", nullptr, tarn::DTAN, mpfr_tan, {10, 1e6}, tanl},
    {"DATAN@", nullptr, tarn::DATAN, mpfr_atan, {1e-10, 1e10, kMagnitude}, atanl},
    {"DSQRT@", nullptr, tarn::DSQRT, mpfr_sqrt, {1e-300, 1e300, kMagnitude}, sqrtl},
    {"DEXP@", nullptr, tarn::DEXP, mpfr_exp, {-708, 709.7}, expl},
    {"DEXP@", nullptr, tarn::DEXP, mpfr_exp, {-1, 1}, expl},
    {"DLOG@", nullptr, tarn::DLOG, mpfr_log, {1e-300, 1e300, kMagnitude}, logl},
    {"DLOG@", nullptr, tarn::DLOG, mpfr_log, {0.9, 1.1}, logl},
    {"DLOG1@", nullptr, tarn::DLOG1, mpfr_log10, {1e-300, 1e300, kMagnitude}, log10l},
    {"DLOG1@", nullptr, tarn::DLOG1, mpfr_log10, {0.9, 1.1}, log10l},
    {"DLOG2@", nullptr, tarn::DLOG2, mpfr_log2, {1e-300, 1e300, kMagnitude}, log2l},
    {"DLOG2@", nullptr, tarn::DLOG2, mpfr_log2, {0.9, 1.1}, log2l},
    {"DASIN@", nullptr, tarn::DASIN, mpfr_asin, {-1, 1}, asinl},
    {"DASIN@", nullptr, tarn::DASIN, mpfr_asin, {1e-9, 1, kMagnitude}, asinl},
    {"DACOS@", nullptr, tarn::DACOS, mpfr_acos, {-1, 1}, acosl},
    {"DACOS@", nullptr, tarn::DACOS, mpfr_acos, {0.99, 1}, acosl},
    {"DSINH@", nullptr, tarn::DSINH, mpfr_sinh, {-700, 700}, sinhl},
    {"DSINH@", nullptr, tarn::DSINH, mpfr_sinh, {1e-10, 1, kMagnitude}, sinhl},
    {"DCOSH@", nullptr, tarn::DCOSH, mpfr_cosh, {-700, 700}, coshl},
    {"DCOSH@", nullptr, tarn::DCOSH, mpfr_cosh, {-1, 1}, coshl},
    {"DTANH@", nullptr, tarn::DTANH, mpfr_tanh, {1e-10, 20, kMagnitude}, tanhl},
};

const OneArgument<float> kSingles[] = {
    {"SIN@", nullptr, tarn::SIN, mpfr_sin, {-100, 100}, sinl},
    {"COS@", nullptr, tarn::COS, mpfr_cos, {-100, 100}, cosl},
    {"TAN@", nullptr, tarn::TAN, mpfr_tan, {-100, 100}, tanl},
    {"ATAN@", nullptr, tarn::ATAN, mpfr_atan, {-100, 100}, atanl},
    {"EXP@", nullptr, tarn::EXP, mpfr_exp, {-87, 88}, expl},
    {"ALOG@", nullptr, tarn::ALOG, mpfr_log, {1e-30, 1e30, kMagnitude}, logl},
    {"ALOG1@", nullptr, tarn::ALOG1, mpfr_log10, {1e-30, 1e30, kMagnitude}, log10l},
    {"ALOG2@", nullptr, tarn::ALOG2, mpfr_log2, {1e-30, 1e30, kMagnitude}, log2l},
    {"ASIN@", nullptr, tarn::ASIN, mpfr_asin, {-1, 1}, asinl},
    {"ACOS@", nullptr, tarn::ACOS, mpfr_acos, {-1, 1}, acosl},
    {"SINH@", nullptr, tarn::SINH, mpfr_sinh, {-88, 88}, sinhl},
    {"SINH@", nullptr, tarn::SINH, mpfr_sinh, {1e-5, 1, kMagnitude}, sinhl},
    {"COSH@", nullptr, tarn::COSH, mpfr_cosh, {-88, 88}, coshl},
    {"TANH@", nullptr, tarn::TANH, mpfr_tanh, {-9, 9}, tanhl},
    {"TANH@", nullptr, tarn::TANH, mpfr_tanh, {1e-5, 1, kMagnitude}, tanhl},
    {"SQRT@", nullptr, tarn::SQRT, mpfr_sqrt, {1e-30, 1e30, kMagnitude}, sqrtl},
};

const OneArgument<double> kErrorFunctions[] = {
    {"DERF@", nullptr, tarn::DERF, mpfr_erf, {1e-10, 0.46875, kMagnitude}},
    {"DERF@", nullptr, tarn::DERF, mpfr_erf, {0.46875, 6}},
    {"DERFC@", nullptr, tarn::DERFC, mpfr_erfc, {-5, 0.46875}},
    {"DERFC@", nullptr, tarn::DERFC, mpfr_erfc, {0.46875, 4}},
    {"DERFC@", nullptr, tarn::DERFC, mpfr_erfc, {4, 26.5}},
    {"DERFC_SCALED@", nullptr, tarn::DERFC_SCALED, scaled_erfc, {-26, 0}},
    {"DERFC_SCALED@", nullptr, tarn::DERFC_SCALED, scaled_erfc, {0, 26}},
};

const OneArgument<double> kGammaAndBessel[] = {
    {"DGAMMA@", nullptr, tarn::DGAMMA, mpfr_gamma, {1e-12, 1e-3, kMagnitude}},
    {"DGAMMA@", nullptr, tarn::DGAMMA, mpfr_gamma, {0.1, 10}},
    {"DGAMMA@", nullptr, tarn::DGAMMA, mpfr_gamma, {10, 171}},
    {"DGAMMA@", nullptr, tarn::DGAMMA, mpfr_gamma, {-2.9, -2.1}},
    {"DLOG_GAMMA@", nullptr, tarn::DLOG_GAMMA, log_gamma, {2.5, 10}},
    {"DLOG_GAMMA@", nullptr, tarn::DLOG_GAMMA, log_gamma, {10, 1e6, kMagnitude}},
    {"DBESSEL_J0@", nullptr, tarn::DBESSEL_J0, mpfr_j0, {-2, 2}},
    {"DBESSEL_J0@", nullptr, tarn::DBESSEL_J0, mpfr_j0, {2.5, 100}},
    {"DBESSEL_J1@", nullptr, tarn::DBESSEL_J1, mpfr_j1, {0.01, 3}},
    {"DBESSEL_J1@", nullptr, tarn::DBESSEL_J1, mpfr_j1, {4, 100}},
    {"DBESSEL_Y0@", nullptr, tarn::DBESSEL_Y0, mpfr_y0, {1e-10, 0.8, kMagnitude}},
    {"DBESSEL_Y0@", nullptr, tarn::DBESSEL_Y0, mpfr_y0, {1, 100}},
    {"DBESSEL_Y1@", nullptr, tarn::DBESSEL_Y1, mpfr_y1, {1e-10, 2, kMagnitude}},
    {"DBESSEL_Y1@", nullptr, tarn::DBESSEL_Y1, mpfr_y1, {2.5, 100}},
};

// ---- Two arguments ------------------------------------------------------------------

template <class Real>
struct TwoArguments {
  const char* name;
  const char* note;
  Real (*ours)(Real, Real);
  int (*truth)(mpfr_t, const mpfr_t, const mpfr_t, mpfr_rnd_t);
  Range first, second;
  Estimate2 estimate;
};

double power(double x, double y) { return tarn::pow(x, y); }
double kernel_power(double x, double y) { return paneview::XX$DD(x, y); }
double angle(double y, double x) { return tarn::DATN2(&y, &x); }
float angle(float y, float x) { return tarn::ATAN2(&y, &x); }
double modulus(double re, double im) {
  const double z[] = {re, im};
  return tarn::CDABS(z);
}
float modulus(float re, float im) {
  const float z[] = {re, im};
  return tarn::CABS(z);
}

constexpr Range kWide = {1e-150, 1e150, kMagnitude}, kSingleWide = {1e-15, 1e15, kMagnitude};

const TwoArguments<double> kTwoArguments[] = {
    {"pow", "y -20 to 20", power, mpfr_pow, {1e-10, 1e10, kMagnitude}, {-20, 20}, powl},
    {"pow", "y -300 to 300", power, mpfr_pow, {0.5, 2}, {-300, 300}, powl},
    {"XX$DD", "y -20 to 20", kernel_power, mpfr_pow, {1e-10, 1e10, kMagnitude}, {-20, 20}, powl},
    {"XX$DD", "y -300 to 300", kernel_power, mpfr_pow, {0.5, 2}, {-300, 300}, powl},
    {"XX$DD", "y -50000 to 50000", kernel_power, mpfr_pow, {0.99, 1.01}, {-50000, 50000}, powl},
    {"DATN2@", "x -10 to 10", angle, mpfr_atan2, {-10, 10}, {-10, 10}, atan2l},
    {"CDABS@", "other part likewise", modulus, mpfr_hypot, kWide, kWide, hypotl},
    {"CDABS@", "other part likewise", modulus, mpfr_hypot, {0.1, 1}, {0.1, 1}, hypotl},
};

const TwoArguments<float> kTwoSingles[] = {
    {"ATAN2@", "x -10 to 10", angle, mpfr_atan2, {-10, 10}, {-10, 10}, atan2l},
    {"CABS@", "other part likewise", modulus, mpfr_hypot, kSingleWide, kSingleWide, hypotl},
};

template <class Real>
void measure(const TwoArguments<Real>& row) {
  std::mt19937_64 random(2);
  Worst worst[kMasks];
  for (int turn = 0; turn < kElementarySamples; ++turn) {
    const auto x = static_cast<Real>(sample(row.first, random));
    const auto y = static_cast<Real>(sample(row.second, random));
    const long double estimate = row.estimate(x, y);
    for (int i = 0; i < kMasks; ++i) {
      const Real got = under_masks(i, [&] { return row.ours(x, y); });
      if (is_surely_below(worst[i].error, got, estimate)) continue;
      mpfr_set_d(argument.value, static_cast<double>(x), MPFR_RNDN);
      mpfr_set_d(second.value, static_cast<double>(y), MPFR_RNDN);
      row.truth(result.value, argument.value, second.value, MPFR_RNDN);
      worst[i].consider(error_in_ulps(got), static_cast<double>(x));
    }
  }
  print_row(row.name, row.first, row.note, worst);
}

// ---- Orders of Bessel functions ------------------------------------------------------
// Near a zero the relative error of an oscillating function says little: the
// measure is the error in units of the last place of the amplitude.

struct Orders {
  const char* name;
  double(TARNAPI* ours)(const std::int32_t*, const double*);
  int (*truth)(mpfr_t, long, const mpfr_t, mpfr_rnd_t);
  std::int32_t most;
  Range range;
};

const Orders kOrders[] = {
    {"DBESSEL_JN@", tarn::DBESSEL_JN, mpfr_jn, 10, {0.5, 100}},
    {"DBESSEL_JN@", tarn::DBESSEL_JN, mpfr_jn, 150, {200, 1000}},
    {"DBESSEL_YN@", tarn::DBESSEL_YN, mpfr_yn, 10, {20, 100}},
    {"DBESSEL_YN@", tarn::DBESSEL_YN, mpfr_yn, 150, {200, 1000}},
};

void measure(const Orders& row) {
  std::mt19937_64 random(3);
  Worst worst[kMasks];
  for (int turn = 0; turn < kSamples / 10; ++turn) {
    const double x = sample(row.range, random);
    const auto n = static_cast<std::int32_t>(random() % static_cast<unsigned>(row.most + 1));
    mpfr_set_d(argument.value, x, MPFR_RNDN);
    row.truth(result.value, n, argument.value, MPFR_RNDN);
    const double amplitude = std::sqrt(2 / (kPi * x));
    const double unit = std::nextafter(amplitude, 1e9) - amplitude;
    for (int i = 0; i < kMasks; ++i) {
      const double got = under_masks(i, [&] { return row.ours(&n, &x); });
      mpfr_sub_d(got_exact.value, result.value, got, MPFR_RNDN);
      worst[i].consider(std::fabs(mpfr_get_d(got_exact.value, MPFR_RNDN)) / unit, x);
    }
  }
  char note[40];
  std::snprintf(note, sizeof note, "n 0 to %d", row.most);
  print_row(row.name, row.range, note, worst);
}

// ---- The published routines, compiled in the ordinary way ------------------------------

#ifdef TARN_PLAIN_SLATEC
extern "C" {
double dgamma_(const double*);
double dlngam_(const double*);
double dbesj0_(const double*);
double dbesj1_(const double*);
double dbesy0_(const double*);
double dbesy1_(const double*);
void dbesj_(const double*, const double*, const std::int32_t*, double*, std::int32_t*);
void dbesy_(const double*, const double*, const std::int32_t*, double*);

double d1mach_(const std::int32_t* i) { return tarn::D1MACH(i); }
std::int32_t i1mach_(const std::int32_t* i) { return tarn::I1MACH(i); }
void xermsg_() { std::abort(); }
// What they call for Fortran's intrinsics, from the same kernels.
double plain_atan(double x) { return tarn::DATAN(&x); }
double plain_cos(double x) { return tarn::DCOS(&x); }
double plain_cosh(double x) { return paneview::DCOSH$$(x); }
double plain_exp(double x) { return paneview::DEXP$$(x); }
double plain_log(double x) { return paneview::DALOG$$(x); }
double plain_pow(double x, double y) { return paneview::XX$DD(x, y); }
double plain_sin(double x) { return tarn::DSIN(&x); }
double plain_sinh(double x) { return paneview::DSINH$$(x); }
void plain_sincos(double x, double* sine, double* cosine) {
  *sine = tarn::DSIN(&x);
  *cosine = tarn::DCOS(&x);
}
}

void compare_with_plain_routines() {
  const struct {
    double(TARNAPI* ours)(const double*);
    double (*plain)(const double*);
    Range range;
  } functions[] = {
      {tarn::DGAMMA, dgamma_, {1, 171}},
      {tarn::DLOG_GAMMA, dlngam_, {1, 1e300, kMagnitude}},
      {tarn::DBESSEL_J0, dbesj0_, {1e-20, 1e15, kMagnitude}},
      {tarn::DBESSEL_J1, dbesj1_, {1e-20, 1e15, kMagnitude}},
      {tarn::DBESSEL_Y0, dbesy0_, {1e-20, 1e15, kMagnitude}},
      {tarn::DBESSEL_Y1, dbesy1_, {1e-20, 1e15, kMagnitude}},
  };
  std::mt19937_64 random(4);
  long compared = 0, equal = 0;
  const auto count = [&](double a, double b) {
    ++compared;
    equal += std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
  };
  for (const auto& f : functions) {
    for (int i = 0; i < kSamples; ++i) {
      const double x = sample(f.range, random);
      count(f.ours(&x), f.plain(&x));
    }
  }
  for (int i = 0; i < kSamples; ++i) {
    const double x = sample({1, 1e6, kMagnitude}, random);
    const auto n = static_cast<std::int32_t>(random() % 100);
    const double order = n;
    const std::int32_t one = 1;
    std::int32_t underflows;
    double y;
    dbesj_(&x, &order, &one, &y, &underflows);
    count(tarn::DBESSEL_JN(&n, &x), y);
    if (x < n) continue;  // keeps clear of overflows
    dbesy_(&x, &order, &one, &y);
    count(tarn::DBESSEL_YN(&n, &x), y);
  }
  std::printf(
      "\nThe same routines compiled in the ordinary way (the host's own convention, no renaming), "
      "on the same kernels: %ld values compared, %ld equal bit for bit.\n",
      compared, equal);
}
#endif

void heading(const char* text) {
  std::printf(
      "\n## %s\n\n| function | range | largest error | at | masks |\n"
      "| --- | --- | --- | --- | --- |\n",
      text);
}

}  // namespace

int main() {
  tarn::__initialise_cpplib();
  std::printf(
      "# Accuracy\n\nMade by `bench/accuracy.cpp` with MPFR: the largest error found in random "
      "arguments of each range, %d for elementary functions and %d for the others, in units of the "
      "last place of the result (half a unit is a "
      "correctly rounded result), and where it was found; in the last column the largest error of "
      "the same arguments under the masks that a program starts with (invalid operation, division "
      "by zero and overflow trap, subnormal numbers are zero). A range whose low end is a small "
      "positive "
      "number was sampled evenly by magnitude.\n",
      kElementarySamples, kSamples);
  heading("C functions and double precision");
  for (const auto& row : kDoubles) measure(row);
  for (const auto& row : kTwoArguments) measure(row);
  std::printf(
      "\nThe sine, cosine and tangent reduce the argument by multiples of a pi of 66 bits. Close "
      "to "
      "such a multiple, where the result is nearly 0, the error grows as the ranges 3 to 4 and 10 "
      "to "
      "1e6 show; for sine and cosine it stays below 2^-67 times the argument, plus the final "
      "rounding.\n");
  heading("Single precision");
  for (const auto& row : kSingles) measure(row);
  for (const auto& row : kTwoSingles) measure(row);
  heading("Error functions");
  for (const auto& row : kErrorFunctions) measure(row);
#ifdef TARN_PLAIN_SLATEC
  heading("Gamma and Bessel functions");
  for (const auto& row : kGammaAndBessel) measure(row);
  std::printf(
      "\nThe values of these functions are those of the published SLATEC routines, except for the "
      "gamma function below 1, where divisors (x + i) - 1 become x + (i - 1). The errors are large "
      "near a zero of an oscillating function, since the error is in the phase of the argument, "
      "and "
      "for a large gamma function, which is the exponential of a large number.\n");
  heading(
      "Bessel functions of order n, in units of the last place of the amplitude sqrt(2 / pi x)");
  for (const auto& row : kOrders) measure(row);
  compare_with_plain_routines();
#endif
}
