#include "numerics/intrinsics.h"

#include "numerics/elementary.h"
#include "numerics/real_bits.h"
#include "numerics/x87.h"
#include "paneview/paneview.h"

namespace tarn {
namespace {

// An instruction on the top of the x87 stack. At and beyond 2^63 they leave it
// unchanged, and fptan then pushes no 1.0 to be dropped.
[[gnu::always_inline]] inline Extended sine(Extended x) {
  Extended result;
  asm("fsin" : "=t"(result) : "0"(x));
  return result;
}

[[gnu::always_inline]] inline Extended cosine(Extended x) {
  Extended result;
  asm("fcos" : "=t"(result) : "0"(x));
  return result;
}

// Two values come back in either case: fptan adds a 1 unless x is out of range.
[[gnu::always_inline]] inline Extended tangent(Extended x, bool in_range) {
  Extended result;
  Extended unused;
  if (__builtin_expect(in_range, 1)) {
    asm("fptan" : "=t"(unused), "=u"(result) : "0"(x));
    return result;
  }
  asm("fptan\n\t"
      "fnstsw %%ax\n\t"
      "testb $4, %%ah\n\t"
      "jz 1f\n\t"
      "fldz\n"
      "1:"
      : "=t"(unused), "=u"(result)
      : "0"(x)
      : "ax", "cc");
  return result;
}

// |x| < 2^63, by the bits of its exponent.
bool is_in_range(const double& x) { return (bits_of(x) >> 52 & 0x7FF) < 1023 + 63; }
bool is_in_range(const float& x) {
  return (__builtin_bit_cast(std::uint32_t, x) >> 23 & 0xFF) < 127 + 63;
}

// x with 0.5 added away from zero. A NaN or infinity stays what it is.
template <typename Real>
Real half_away(Real x) {
  const double wide = static_cast<double>(x);
  return is_below_zero(wide) && !is_nan(wide) ? x - Real{0.5} : x + Real{0.5};
}

std::int64_t nearest_integer(double x) {
  const double moved = half_away(x);
  std::int64_t result;
  asm volatile("cvttsd2si %1, %0" : "=r"(result) : "x"(moved));
  return result;
}

}  // namespace

float ALOG(const float* x) { return paneview::ALOG$$(*x); }
float ALOG1(const float* x) { return paneview::AL10$$(*x); }
float ALOG2(const float* x) { return paneview::ALG2$$(*x); }
double DLOG(const double* x) { return paneview::DALOG$$(*x); }
double DLOG1(const double* x) { return paneview::DAL10$$(*x); }
double DLOG2(const double* x) { return paneview::DALG2$$(*x); }
float EXP(const float* x) { return paneview::EXP$$(*x); }
double DEXP(const double* x) { return paneview::DEXP$$(*x); }

float SIN(const float* x) { return x87_single(sine(x87_load(*x))); }
float COS(const float* x) { return x87_single(cosine(x87_load(*x))); }
float TAN(const float* x) { return x87_single(tangent(x87_load(*x), is_in_range(*x))); }
float ATAN(const float* x) { return x87_single(x87_atan2(x87_load(*x), 1.0L)); }
double DSIN(const double* x) { return x87_double(sine(x87_load(*x))); }
double DCOS(const double* x) { return x87_double(cosine(x87_load(*x))); }
double DTAN(const double* x) { return x87_double(tangent(x87_load(*x), is_in_range(*x))); }
double DATAN(const double* x) { return x87_double(x87_atan2(x87_load(*x), 1.0L)); }

float ASIN(const float* x) { return paneview::ASIN$$(*x); }
float ACOS(const float* x) { return paneview::ACOS$$(*x); }
double DASIN(const double* x) { return paneview::DASIN$$(*x); }
double DACOS(const double* x) { return paneview::DACOS$$(*x); }
float ATAN2(const float* y, const float* x) { return paneview::ATAN2V$(*y, *x); }
double DATN2(const double* y, const double* x) { return paneview::DATAN2V$(*y, *x); }

float SINH(const float* x) { return paneview::SINH$$(*x); }
float COSH(const float* x) { return paneview::COSH$$(*x); }
float TANH(const float* x) { return paneview::TANH$$(*x); }
double DSINH(const double* x) { return paneview::DSINH$$(*x); }
double DCOSH(const double* x) { return paneview::DCOSH$$(*x); }
double DTANH(const double* x) { return paneview::DTANH$$(*x); }

float SQRT(const float* x) {
  float result;
  asm volatile("sqrtss %1, %0" : "=x"(result) : "m"(*x));
  return result;
}

double DSQRT(const double* x) {
  double result;
  asm volatile("sqrtsd %1, %0" : "=x"(result) : "m"(*x));
  return result;
}

float AMOD(const float* x, const float* y) { return paneview::MOD$$(*x, *y); }
double DMOD(const double* x, const double* y) { return paneview::DMOD$$(*x, *y); }
float AINT(const float* x) { return paneview::AINT$$(*x); }
double DINT(const double* x) { return paneview::DAINT$$(*x); }

float ANINT(const float* x) { return paneview::AINT$$(half_away(*x)); }
double DNINT(const double* x) { return paneview::DAINT$$(half_away(*x)); }

std::int16_t ININT(const float* x) {
  return static_cast<std::int16_t>(nearest_integer(static_cast<double>(*x)));
}
std::int16_t IDNIN(const double* x) { return static_cast<std::int16_t>(nearest_integer(*x)); }
std::int32_t JNINT(const float* x) {
  return static_cast<std::int32_t>(nearest_integer(static_cast<double>(*x)));
}
std::int32_t JDNIN(const double* x) { return static_cast<std::int32_t>(nearest_integer(*x)); }

std::int8_t HABS(const std::int8_t* x) { return static_cast<std::int8_t>(abs(*x)); }
std::int16_t IABS(const std::int16_t* x) { return static_cast<std::int16_t>(abs(*x)); }
std::int32_t JABS(const std::int32_t* x) { return abs(*x); }

float ABS(const float* x) {
  return __builtin_bit_cast(float, __builtin_bit_cast(std::uint32_t, *x) & 0x7FFFFFFF);
}
double DABS(const double* x) { return __builtin_bit_cast(double, magnitude_bits(*x)); }

float CABS(const float* z) { return paneview::CABS$$(z); }
double CDABS(const double* z) { return paneview::ZABS$$(z); }

tarn_complex8 CONJ(const float* z) { return tarn_complex8{z[0], 0.0f - z[1], 0.0f, 0.0f}; }
tarn_complex16 DCONJ(const double* z) { return tarn_complex16{z[0], 0.0 - z[1]}; }
float AIMAG(const float* z) { return z[1]; }
double DIMAG(const double* z) { return z[1]; }

}  // namespace tarn
