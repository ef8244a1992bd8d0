#include "streams/float_text.h"

#include "failure/runtime_error.h"
#include "numerics/elementary.h"
#include "streams/number_text.h"

namespace tarn {
namespace {

constexpr std::int32_t kInvalidDouble = 297;

constexpr std::int32_t kExponentBias = 1023;
constexpr std::uint32_t kExponentMask = 0x7FF;
constexpr int kFractionBits = 52;
// log10(2) one unit below the nearest double: an estimate must not be too high.
constexpr std::uint64_t kLog10Of2 = 0x3FD34413509F79FE;
// From here on 0.5 / 10^r is lost against the value's last bit.
constexpr std::int64_t kRoundingLimit = 16;

constexpr std::int32_t kFixedLeast = -4;  // magnitudes of __gcvt's fixed style
constexpr std::int32_t kFarMagnitude = 300;

// 10 to the i. Two entries are one unit in the last place above the nearest
// double: text of such magnitudes has always been made with them.
#define TENS(n) \
  1e##n##0, 1e##n##1, 1e##n##2, 1e##n##3, 1e##n##4, 1e##n##5, 1e##n##6, 1e##n##7, 1e##n##8, 1e##n##9
// clang-format off
constexpr double kPowers[308] = {
    TENS(), TENS(1), TENS(2), TENS(3), TENS(4), TENS(5), TENS(6), TENS(7), TENS(8), TENS(9),
    TENS(10), TENS(11),
    1e120, 1e121, 1e122, 1e123, 1e124, 1e125, 1.0000000000000001e126, 1e127, 1e128, 1e129,
    TENS(13), TENS(14), TENS(15), TENS(16), TENS(17), TENS(18), TENS(19), TENS(20),
    1.0000000000000001e210, 1e211, 1e212, 1e213, 1e214, 1e215, 1e216, 1e217, 1e218, 1e219,
    TENS(22), TENS(23), TENS(24), TENS(25), TENS(26), TENS(27), TENS(28), TENS(29),
    1e300, 1e301, 1e302, 1e303, 1e304, 1e305, 1e306, 1e307,
};
// clang-format on
#undef TENS

std::uint32_t exponent_field(double value) {
  return static_cast<std::uint32_t>(__builtin_bit_cast(std::uint64_t, value) >> kFractionBits) &
         kExponentMask;
}

// Infinities and NaN have no digits, and the steps would not end on them.
void refuse_without_digits(double value) {
  if (exponent_field(value) == kExponentMask) FAIL_at(&kInvalidDouble);
}

std::int32_t floor_log10(double magnitude) {
  const double log = log10(magnitude);
  const auto below = static_cast<std::int32_t>(log);
  return below - (log < below);
}

// A number taken apart: 0.d1d2d3... times 10 to `exponent`.
struct Decimal {
  double rest;  // the fraction whose digits come next
  std::int32_t exponent;
  bool negative;
  std::int64_t count;  // digits asked for
};

// Everything of __cvt but the digits themselves.
Decimal scaled(double value, std::int64_t count) {
  refuse_without_digits(value);
  const std::int32_t binary = static_cast<std::int32_t>(exponent_field(value)) - kExponentBias;
  auto d = static_cast<std::int32_t>(binary * __builtin_bit_cast(double, kLog10Of2));
  const bool negative = !(value >= 0.0);
  if (negative) value = 0.0 - value;
  if (d < 0) {
    value *= kPowers[-d];
  } else {
    value /= kPowers[d];
  }
  while (value >= 1.0) {
    value /= 10.0;
    ++d;
  }
  if (value < 0.1) {
    value *= 10.0;
    --d;
  }
  std::int64_t digits = count;
  std::int64_t place = count < 0 ? -count : count;
  if (d < 0 && count < 0) place += d;
  if (place < 0) place = 0;
  if (place < kRoundingLimit) {
    value += 0.5 / kPowers[place];
    if (value >= 1.0) {
      value /= 10.0;
      ++d;
      if (count >= 0) ++digits;
    }
  }
  if (count < 0) digits = (d > 0 ? d : 0) - count;
  return {value, d, negative, digits};
}

// The next digit. Once `rest` is 0, and after some 60 digits it always is, all
// further ones are "0".
std::uint8_t next_digit(double& rest) {
  rest *= 10.0;
  const auto digit = static_cast<std::int32_t>(rest);
  rest -= digit;
  return static_cast<std::uint8_t>('0' + digit);
}

// The digits in the order in which they are written; "0" behind the last one
// that was asked for.
char take_digit(Decimal& number) {
  if (number.count <= 0) return '0';
  --number.count;
  return static_cast<char>(next_digit(number.rest));
}

char* put_zeros(char* to, std::int32_t count) {
  for (; count > 0; --count) *to++ = '0';
  return to;
}

char* put_fraction(char* to, Decimal& number, std::int32_t precision) {
  for (; precision > 0 && number.rest != 0.0; --precision) *to++ = take_digit(number);
  return put_zeros(to, precision);
}

}  // namespace

void __cvt(double value, std::uint16_t* digits, std::int16_t* exponent, std::int16_t* sign,
           std::int32_t count) {
  Decimal number = scaled(value, count);
  for (std::int64_t i = 0; i < number.count; ++i) {
    digits[i] = next_digit(number.rest);
  }
  *exponent = static_cast<std::int16_t>(number.exponent);
  *sign = number.negative ? -1 : 1;
}

void __ecvt(double value, char* text, std::int32_t precision, std::int32_t alt,
            std::int32_t upper) {
  if (precision < 0) precision = 0;
  std::int32_t exponent = 0;
  const bool point = precision > 0 || alt;
  if (value == 0.0) {
    *text++ = '0';
    if (point) *text++ = '.';
    text = put_zeros(text, precision);
  } else {
    Decimal number = scaled(value, std::int64_t{precision} + 1);
    if (number.negative) *text++ = '-';
    *text++ = take_digit(number);
    if (point) *text++ = '.';
    text = put_fraction(text, number, precision);
    exponent = number.exponent - 1;
  }
  *text++ = upper ? 'E' : 'e';
  *text++ = exponent < 0 ? '-' : '+';
  if (exponent < 0) exponent = -exponent;
  if (exponent < 10) *text++ = '0';
  itoa(exponent, text, 10);
}

void __fcvt(double value, char* text, std::int32_t precision, std::int32_t alt, std::int32_t,
            std::int32_t) {
  if (precision < 0) precision = 0;
  const bool point = precision > 0 || alt;
  if (value == 0.0) {
    *text++ = '0';
    if (point) *text++ = '.';
    *put_zeros(text, precision) = '\0';
    return;
  }
  refuse_without_digits(value);
  const std::int32_t magnitude = floor_log10(__builtin_fabs(value));
  const std::int64_t behind = precision;
  Decimal number = scaled(value, magnitude < 0 ? -behind : magnitude + behind + 1);
  std::int32_t exponent = number.exponent - 1;
  if (number.negative) *text++ = '-';
  if (exponent < 0) {
    *text++ = '0';
  } else {
    for (; exponent >= 0; --exponent) *text++ = take_digit(number);
  }
  if (point) *text++ = '.';
  for (; exponent < -1 && precision > 0; ++exponent, --precision) *text++ = '0';
  *put_fraction(text, number, precision) = '\0';
}

void __gcvt(double value, char* text, std::int32_t precision, std::int32_t upper,
            std::int32_t passed_on) {
  refuse_without_digits(value);
  const double magnitude = __builtin_fabs(value);
  std::int32_t m;
  if (magnitude == 0.0) {
    m = 0;
  } else if (magnitude < 1e-300) {
    m = -kFarMagnitude;
  } else if (magnitude > 1e300) {
    m = kFarMagnitude;
  } else {
    m = floor_log10(magnitude);
  }
  if (m >= kFixedLeast && precision > m) {
    __fcvt(value, text, precision, 0, upper, passed_on);
  } else {
    __ecvt(value, text, precision, 0, upper);
  }
}

std::int32_t invalid_float(float value) {
  const auto bits = __builtin_bit_cast(std::uint32_t, value);
  const std::uint32_t exponent = bits >> 23 & 0xFF;
  const std::uint32_t fraction = bits & 0x7FFFFF;
  return exponent == 0xFF || (exponent == 0 && fraction != 0);
}

std::int32_t invalid_double(double value) {
  const std::uint64_t fraction =
      __builtin_bit_cast(std::uint64_t, value) & ((std::uint64_t{1} << kFractionBits) - 1);
  const std::uint32_t exponent = exponent_field(value);
  return exponent == kExponentMask || (exponent == 0 && fraction != 0);
}

std::int32_t invalid_long_double(const ExtendedValue* value) {
  const std::uint32_t exponent = value->sign_and_exponent & 0x7FFF;
  return exponent == 0x7FFF || (value->significand == 0) != (exponent == 0);
}

}  // namespace tarn
