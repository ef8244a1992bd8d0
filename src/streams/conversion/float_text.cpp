#include "streams/conversion/float_text.h"

#include "numerics/elementary.h"
#include "process/raising.h"
#include "streams/conversion/digits.h"
#include "streams/conversion/float_layout.h"

namespace tarn {
namespace {

constexpr std::int32_t kExponentBias = 1023;
constexpr std::uint32_t kExponentMask = 0x7FF;
constexpr int kFractionBits = 52;
// log10(2) one unit below the nearest double: an estimate must not be too high.
constexpr double kLog10Of2 = __builtin_bit_cast(double, std::uint64_t{0x3FD34413509F79FE});
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

// Half a unit of the r-th digit.
struct HalfUnits {
  double of[kRoundingLimit];
};
constexpr HalfUnits kHalfUnits = [] {
  HalfUnits halves{};
  for (int r = 0; r < kRoundingLimit; ++r) halves.of[r] = 0.5 / kPowers[r];
  return halves;
}();

// binary * kLog10Of2, truncated, without the two conversions.
constexpr std::int32_t decimal_estimate(std::int32_t binary) {
  const std::int32_t magnitude = (binary < 0 ? -binary : binary) * 78913 >> 18;
  return binary < 0 ? -magnitude : magnitude;
}
static_assert([] {
  for (std::int32_t binary = -kExponentBias; binary <= kExponentBias + 1; ++binary) {
    if (decimal_estimate(binary) != static_cast<std::int32_t>(binary * kLog10Of2)) return false;
  }
  return true;
}());

std::uint32_t exponent_field(double value) {
  return static_cast<std::uint32_t>(__builtin_bit_cast(std::uint64_t, value) >> kFractionBits) &
         kExponentMask;
}

// A number as 0.d1d2d3... times 10 to `exponent`.
struct Decimal {
  double fraction;
  std::int32_t exponent;
  bool negative;
};

inline Decimal scaled(double value) {
  const std::uint32_t field = exponent_field(value);
  // Infinities and NaN have no digits, and the steps would not end on them.
  if (field == kExponentMask) ReportErrorNumber(TARN_ERROR_PRINTED_DOUBLE);
  std::int32_t d = decimal_estimate(static_cast<std::int32_t>(field) - kExponentBias);
  const bool negative = !(value >= 0.0);
  value = __builtin_fabs(value);
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
  return {value, d, negative};
}

// The floor of the double that log10 returns for |value|, whose digits `number`
// has. It is known from them unless the value is as near to a power of ten as
// rounding errors could reach, which here are a few units of 2^-53.
inline std::int32_t floor_log10(double value, const Decimal& number) {
  constexpr double kNear = 0x1p-40;
  if (number.fraction > 0.1 + kNear && number.fraction < 1.0 - kNear) return number.exponent - 1;
  const double log = log10(__builtin_fabs(value));
  const auto below = static_cast<std::int32_t>(log);
  return below - (log < below);
}

// Adds half a unit of the last digit. `count` digits are wanted, or -count ones
// after the number's point. Result: how many digits that makes.
inline std::int64_t rounded(Decimal& number, std::int64_t count) {
  std::int64_t place = count < 0 ? -count : count;
  if (number.exponent < 0 && count < 0) place += number.exponent;
  if (place < 0) place = 0;
  if (place < kRoundingLimit) {
    number.fraction += kHalfUnits.of[place];
    if (number.fraction >= 1.0) {
      number.fraction /= 10.0;
      ++number.exponent;
      if (count >= 0) ++count;
    }
  }
  if (count < 0) count = (number.exponent > 0 ? number.exponent : 0) - count;
  return count;
}

// The method: multiply by ten, and take the integer off as the next digit.
TARNAPI void digits_one_by_one(double fraction, char* to, std::int32_t count) {
  for (; count > 0; --count) {
    fraction *= 10.0;
    const auto digit = static_cast<std::int32_t>(fraction);
    fraction -= digit;
    *to++ = static_cast<char>('0' + digit);
  }
}

// The same digits from integers, for 0.1 <= fraction < 1. The first product is
// below 10 and so a multiple of 2^-52, and what the digit leaves is one, too: an
// integer below. Ten times it is exact, and converted to a double it is rounded
// as the product of doubles would be. Each product has one more trailing zero
// bit than the one before, so that the third is the last that can be rounded (a
// double below 16 holds multiples of 2^-49), and the rest is exact: a binary
// fraction of 64 bits, whose digits come eight at a time. May write 7 bytes more.
inline void digits_by_blocks(double fraction, char* to, std::int32_t count) {
  constexpr std::uint64_t kBelowPoint = (std::uint64_t{1} << kFractionBits) - 1;
  auto product = static_cast<std::int64_t>(fraction * 10.0 * 0x1p52);
  std::uint64_t rest;
  for (int i = 0;; ++i) {
    *to++ = static_cast<char>('0' + (product >> kFractionBits));
    rest = static_cast<std::uint64_t>(product) & kBelowPoint;
    if (i == 2) break;
    product = static_cast<std::int64_t>(static_cast<double>(static_cast<std::int64_t>(rest * 10)));
  }
  rest <<= 64 - kFractionBits;
  for (count -= 3; count > 0; count -= 8, to += 8) {
    const auto wide = static_cast<unsigned __int128>(rest) * 100'000'000;
    const std::uint64_t block = digits::eight_digits(static_cast<std::uint32_t>(wide >> 64));
    __builtin_memcpy(to, &block, 8);
    rest = static_cast<std::uint64_t>(wide);
  }
}

// The digits of a rounded number, at most kSignificantDigits. May write 7 bytes
// more. Result: how many; all further ones are "0".
inline std::int32_t put_digits(const Decimal& number, char* to, std::int64_t count) {
  const auto kept =
      static_cast<std::int32_t>(count < kSignificantDigits ? count : kSignificantDigits);
  if (number.fraction >= 0.1) {
    digits_by_blocks(number.fraction, to, kept);
  } else {
    digits_one_by_one(number.fraction, to, kept);
  }
  return kept;
}

// The rest of a layout whose lead, gap and digits are known: `precision` digits
// after the point, the gap among them.
inline void lay_out_fraction(FloatLayout& layout, std::int32_t precision, bool alt) {
  const std::int32_t wanted = precision - layout.gap;
  const std::int32_t there = layout.kept > layout.lead ? layout.kept - layout.lead : 0;
  layout.point = precision > 0 || alt;
  layout.tail = wanted < there ? wanted : there;
  layout.zeros = wanted - layout.tail;
}

TARNAPI void lay_out_zero(FloatLayout& layout, std::int32_t precision, bool alt) {
  layout.negative = false;
  layout.digits[0] = '0';
  layout.start = 0;
  layout.kept = 1;
  layout.lead = 1;
  layout.gap = 0;
  lay_out_fraction(layout, precision, alt);
}

inline void fixed_layout(FloatLayout& layout, Decimal number, std::int32_t magnitude,
                         std::int32_t precision, bool alt) {
  const std::int64_t behind = precision;
  const std::int64_t count = rounded(number, magnitude < 0 ? -behind : magnitude + behind + 1);
  layout.kept = put_digits(number, layout.digits + 1, count);
  layout.negative = number.negative;
  if (number.exponent > 0) {
    layout.start = 1;
    layout.lead = number.exponent;
    layout.gap = 0;
  } else {
    layout.digits[0] = '0';
    layout.start = 0;
    ++layout.kept;
    layout.lead = 1;
    layout.gap = -number.exponent < precision ? -number.exponent : precision;
  }
  lay_out_fraction(layout, precision, alt);
}

inline char* put_exponent(char* to, std::int32_t exponent, bool upper) {
  *to++ = upper ? 'E' : 'e';
  *to++ = exponent < 0 ? '-' : '+';
  if (exponent < 0) exponent = -exponent;
  if (exponent >= 100) {
    *to++ = static_cast<char>('0' + exponent / 100);
    exponent %= 100;
  }
  __builtin_memcpy(to, digits::kPairs + exponent * 2, 2);
  return to + 2;
}

inline void exponent_layout(FloatLayout& layout, Decimal number, std::int32_t precision, bool alt,
                            bool upper) {
  const std::int64_t count = rounded(number, std::int64_t{precision} + 1);
  layout.kept = put_digits(number, layout.digits + 1, count);
  layout.negative = number.negative;
  layout.start = 1;
  layout.lead = 1;
  layout.gap = 0;
  lay_out_fraction(layout, precision, alt);
  layout.exponent_size = static_cast<std::int32_t>(
      put_exponent(layout.exponent, number.exponent - 1, upper) - layout.exponent);
}

TARNAPI char* write_signed(char* to, const FloatLayout& layout) {
  if (layout.negative) *to++ = '-';
  return write_layout(to, layout);
}

}  // namespace

void layout_fixed(FloatLayout& layout, double value, std::int32_t precision, bool alt) {
  if (precision < 0) precision = 0;
  layout.exponent_size = 0;
  if (value == 0.0) {
    lay_out_zero(layout, precision, alt);
    return;
  }
  const Decimal number = scaled(value);
  fixed_layout(layout, number, floor_log10(value, number), precision, alt);
}

void layout_exponent(FloatLayout& layout, double value, std::int32_t precision, bool alt,
                     bool upper) {
  if (precision < 0) precision = 0;
  if (value == 0.0) {
    lay_out_zero(layout, precision, alt);
    layout.exponent_size =
        static_cast<std::int32_t>(put_exponent(layout.exponent, 0, upper) - layout.exponent);
    return;
  }
  exponent_layout(layout, scaled(value), precision, alt, upper);
}

void layout_general(FloatLayout& layout, double value, std::int32_t precision, bool upper) {
  const std::int32_t shown = precision < 0 ? 0 : precision;
  if (value == 0.0) {
    if (precision > 0) {
      layout_fixed(layout, value, precision, false);
    } else {
      layout_exponent(layout, value, precision, false, upper);
    }
    return;
  }
  const Decimal number = scaled(value);
  const std::int32_t m = floor_log10(value, number);
  const double size = __builtin_fabs(value);
  const std::int32_t style = size < 1e-300 ? -kFarMagnitude : size > 1e300 ? kFarMagnitude : m;
  if (style >= kFixedLeast && precision > style) {
    layout.exponent_size = 0;
    fixed_layout(layout, number, m, shown, false);
  } else {
    exponent_layout(layout, number, shown, false, upper);
  }
}

void __cvt(double value, std::uint16_t* digits, std::int16_t* exponent, std::int16_t* sign,
           std::int32_t count) {
  Decimal number = scaled(value);
  const std::int64_t wanted = rounded(number, count);
  char text[kSignificantDigits + 8];
  const std::int32_t kept = put_digits(number, text, wanted);
  for (std::int64_t i = 0; i < wanted; ++i) {
    digits[i] = i < kept ? static_cast<std::uint8_t>(text[i]) : '0';
  }
  *exponent = static_cast<std::int16_t>(number.exponent);
  *sign = number.negative ? -1 : 1;
}

void __ecvt(double value, char* text, std::int32_t precision, std::int32_t alt,
            std::int32_t upper) {
  FloatLayout layout;
  layout_exponent(layout, value, precision, alt != 0, upper != 0);
  *write_signed(text, layout) = '\0';
}

void __fcvt(double value, char* text, std::int32_t precision, std::int32_t alt, std::int32_t,
            std::int32_t) {
  FloatLayout layout;
  layout_fixed(layout, value, precision, alt != 0);
  *write_signed(text, layout) = '\0';
}

void __gcvt(double value, char* text, std::int32_t precision, std::int32_t upper, std::int32_t) {
  FloatLayout layout;
  layout_general(layout, value, precision, upper != 0);
  *write_signed(text, layout) = '\0';
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

std::int32_t invalid_long_double(const void* address) {
  const auto* const value = static_cast<const ExtendedValue*>(address);
  const std::uint32_t exponent = value->sign_and_exponent & 0x7FFF;
  return exponent == 0x7FFF || (value->significand == 0) != (exponent == 0);
}

}  // namespace tarn
