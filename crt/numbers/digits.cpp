// Digits of a number without its point: ecvt, fcvt and gcvt.
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "../strings/checked.h"

using namespace crt;

namespace {

constexpr int kMostDigits = 400;  // 309 before the point, and what follows it

// The digits of the exponent's form, rounded to `count`; `point` says where the point is.
void significant(double value, int count, char* digits, int* point) {
  char text[kMostDigits + 16];
  if (count > kMostDigits) count = kMostDigits;
  sprintf(text, "%.*e", count > 0 ? count - 1 : 0, value);
  char* const exponent = strchr(text, 'e');
  *point = value == 0 ? 0 : atoi(exponent + 1) + 1;
  *exponent = '\0';
  digits[0] = text[0];
  strcpy(digits + 1, text[1] == '.' ? text + 2 : "");
  if (count <= 0) digits[0] = '\0';
}

// The digits of the plain form, without zeros at their beginning.
void decimal(double value, int count, char* digits, int* point) {
  char text[kMostDigits + 400];
  if (count > kMostDigits) count = kMostDigits;
  sprintf(text, "%.*f", count > 0 ? count : 0, value);
  const char* const dot = strchr(text, '.');
  const size_t whole = dot ? static_cast<size_t>(dot - text) : strlen(text);
  *point = static_cast<int>(whole);
  memcpy(digits, text, whole);
  strcpy(digits + whole, dot ? dot + 1 : "");
  size_t zeros = strspn(digits, "0");
  if (digits[zeros] == '\0') {
    zeros = whole;  // nothing but zeros: those after the point
    *point = 0;
  } else {
    *point -= static_cast<int>(zeros);
  }
  memmove(digits, digits + zeros, strlen(digits + zeros) + 1);
}

template <class Write>
void convert(Write write, double value, int count, char* digits, int* point, int* sign) {
  *sign = __builtin_signbit(value) != 0;
  *point = 0;
  if (!__builtin_isfinite(value)) {
    strcpy(digits, __builtin_isnan(value) ? "nan" : "inf");
    return;
  }
  write(__builtin_fabs(value), count, digits, point);
}

char shared[2 * kMostDigits];

}  // namespace

CRT_API char* _ecvt(double value, int count, int* point, int* sign) {
  convert(significant, value, count, shared, point, sign);
  return shared;
}
CRT_API char* _fcvt(double value, int count, int* point, int* sign) {
  convert(decimal, value, count, shared, point, sign);
  return shared;
}
CRT_API char* _gcvt(double value, int count, char* to) {
  sprintf(to, "%.*g", count, value);
  return to;
}
CRT_API errno_t _ecvt_s(char* to, size_t size, double value, int count, int* point, int* sign) {
  char digits[2 * kMostDigits];
  if (!point || !sign) return refuse(to, size, EINVAL);
  convert(significant, value, count, digits, point, sign);
  return copy_checked(to, size, 0, digits);
}
CRT_API errno_t _fcvt_s(char* to, size_t size, double value, int count, int* point, int* sign) {
  char digits[2 * kMostDigits];
  if (!point || !sign) return refuse(to, size, EINVAL);
  convert(decimal, value, count, digits, point, sign);
  return copy_checked(to, size, 0, digits);
}
CRT_API errno_t _gcvt_s(char* to, size_t size, double value, int count) {
  char text[kMostDigits];
  if (count > kMostDigits - 16) return refuse(to, size, ERANGE);  // a sign, point and exponent
  _gcvt(value, count, text);
  return copy_checked(to, size, 0, text);
}
CRT_API double _wtof(const wchar_t* string) { return wcstod(string, nullptr); }
