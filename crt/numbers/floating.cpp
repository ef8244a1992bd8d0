// Parts of floating-point numbers.
#include <math.h>
#include <stdlib.h>

#include "../crt.h"

extern "C" {
double frexp(double value, int* exponent) {
  union {
    double real;
    unsigned long long bits;
  } parts = {value};
  const int field = static_cast<int>(parts.bits >> 52 & 0x7FF);
  *exponent = 0;
  if (field == 0x7FF || value == 0) return value;
  if (field == 0) {
    const double result = frexp(value * 0x1p64, exponent);
    *exponent -= 64;
    return result;
  }
  *exponent = field - 0x3FE;
  parts.bits = (parts.bits & ~(0x7FFull << 52)) | 0x3FEull << 52;
  return parts.real;
}

int _finite(double value) { return __builtin_isfinite(value); }
int _isnan(double value) { return __builtin_isnan(value); }
double _copysign(double value, double sign) { return __builtin_copysign(value, sign); }
double _chgsign(double value) { return -value; }
double _logb(double value) { return logb(value); }
double _nextafter(double value, double toward) { return nextafter(value, toward); }
double _scalb(double value, long exponent) { return scalbln(value, exponent); }

int _finitef(float value) { return __builtin_isfinite(value); }
int _isnanf(float value) { return __builtin_isnan(value); }
float _copysignf(float value, float sign) { return __builtin_copysignf(value, sign); }
float _chgsignf(float value) { return -value; }
float _logbf(float value) { return logbf(value); }
float _nextafterf(float value, float toward) { return nextafterf(value, toward); }
}
