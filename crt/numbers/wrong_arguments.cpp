// What libmingwex's mathematical routines call for arguments without a result, after they
// have set errno. They return infinities and NaNs as constants; here the exceptions of
// IEEE 754 are raised, which a program can test, or trap. There are no handlers of
// _matherr, as the current systems have none.
#include <float.h>

#include "../crt.h"

namespace {

constexpr int kDomain = 1, kSingularity = 2, kOverflow = 3, kUnderflow = 4;

void raise_by_square(double value) {
  volatile double result = value;
  result = result * result;
}

void raise_by_division(double value) {
  volatile double result = 0;
  result = value / result;
}

}  // namespace

extern "C" {
void __mingw_raise_matherr(int kind, const char*, double first, double second, double) {
  if (__builtin_isnan(first) || __builtin_isnan(second)) return;
  if (kind == kDomain) return raise_by_division(0);
  if (__builtin_isinf(first) || __builtin_isinf(second)) return;  // the result is exact
  if (kind == kSingularity || (kind == kOverflow && first == 0)) raise_by_division(1);
  if (kind == kOverflow && first != 0) raise_by_square(DBL_MAX);
  if (kind == kUnderflow) raise_by_square(DBL_MIN);
}

void __mingw_setusermatherr(int (*)(void*)) {}
void __setusermatherr(int (*)(void*)) {}
}
