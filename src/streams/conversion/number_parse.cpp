#include "streams/conversion/number_parse.h"

#include <xmmintrin.h>

#include "numerics/elementary.h"
#include "process/process_state.h"
#include "streams/conversion/digits.h"
#include "strings/character_class.h"

namespace tarn {
namespace {

using digits::is_decimal;

constexpr double kLargeResult = 1e308;
constexpr std::int64_t kHighestPlace = 309;  // digits before the point of numbers near 1e308
constexpr std::int64_t kLowestPlace = -307;  // and of those near 1e-308
constexpr double kLargestDouble = 1.7976931348623157e308;
// The limits of double, as fractions with the point before their digits.
constexpr double kLargestFraction = 0.17976931348623157;
constexpr double kLeastFraction = 0.22250738585072014;

bool is_class(char c, CharacterClass wanted) { return (character_classes(c) & wanted) != 0; }

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

void set_end(char** end, const char* position) {
  if (end) *end = const_cast<char*>(position);
}

const char* skip_white(const char* text) {
  while (is_class(*text, kWhiteSpace)) ++text;
  return text;
}

const char* read_sign(const char* text, bool& negative) {
  negative = *text == '-';
  return negative || *text == '+' ? text + 1 : text;
}

// Of a digit or letter, 0 to 35; else more than any radix has.
std::uint32_t digit_value(char c) {
  if (is_decimal(c)) return static_cast<std::uint32_t>(c - '0');
  const auto letter = static_cast<std::uint32_t>(upper(c) - 'A');
  return letter < 26 ? letter + 10 : digits::kMaxRadix;
}

bool is_hexadecimal_mark(const char* text) { return text[0] == '0' && upper(text[1]) == 'X'; }

template <class Unsigned>
TARNAPI Unsigned parse_unsigned(const char* text, char** end, std::int32_t radix) {
  constexpr Unsigned kAllOnes = ~Unsigned{0};
  set_end(end, text);
  if (radix != 0 && (radix < digits::kMinRadix || radix > digits::kMaxRadix)) {
    set_errno(kErrnoRange);
    return kAllOnes;
  }
  bool negative;
  text = read_sign(skip_white(text), negative);
  if (radix == 0) radix = is_hexadecimal_mark(text) ? 16 : *text == '0' ? 8 : 10;
  if (radix == 16 && is_hexadecimal_mark(text)) text += 2;

  const Unsigned base = static_cast<Unsigned>(radix);
  Unsigned digit = digit_value(*text);
  if (digit >= base) return 0;
  const Unsigned limit = kAllOnes / base;
  Unsigned value = 0;
  bool overflow = false;
  for (; digit < base && !overflow; digit = digit_value(*++text)) {
    // Looks at the value before the multiplication only.
    overflow = value > limit;
    value = value * base + digit;
  }
  if (overflow) {
    set_errno(kErrnoRange);
    return kAllOnes;
  }
  set_end(end, text);
  return negative ? 0 - value : value;
}

template <class Signed, class Unsigned>
TARNAPI Signed parse_signed(const char* text, char** end, std::int32_t radix) {
  constexpr Unsigned kTopBit = Unsigned{1} << (sizeof(Unsigned) * 8 - 1);
  set_end(end, text);
  bool negative;
  const char* const rest = read_sign(skip_white(text), negative);
  char* behind;
  const Unsigned value = parse_unsigned<Unsigned>(rest, &behind, radix);
  if (value & kTopBit) {
    set_errno(kErrnoRange);
    return static_cast<Signed>(negative ? kTopBit : kTopBit - 1);
  }
  if (behind != rest) set_end(end, behind);
  return static_cast<Signed>(negative ? 0 - value : value);
}

// Programs trap overflow and invalid operations; no text that is read may. While
// one of these lives the steps yield infinities instead.
class TrapsMasked {
 public:
  TrapsMasked() : control_(_mm_getcsr()) { _mm_setcsr(control_ | _MM_MASK_MASK); }
  ~TrapsMasked() { _mm_setcsr(control_); }
  TrapsMasked(const TrapsMasked&) = delete;
  TrapsMasked& operator=(const TrapsMasked&) = delete;

 private:
  unsigned int control_;
};

// The number that its digits make.
struct Digits {
  double value = 0.0;              // without the exponent
  std::int64_t integer_count = 0;  // digits before the point, leading zeros left out
  std::int32_t exponent = 0;
};

const char* read_exponent(const char* text, std::int32_t& exponent) {
  bool negative;
  text = read_sign(text, negative);
  std::uint32_t magnitude = 0;
  for (; is_decimal(*text); ++text) {
    magnitude = magnitude * 10 + static_cast<std::uint32_t>(*text - '0');
  }
  exponent = static_cast<std::int32_t>(negative ? 0 - magnitude : magnitude);
  return text;
}

// mantissa = mantissa * 10.0 + digit for each digit. Up to 2^53 that is exact,
// and done in integers.
inline const char* read_run(const char* text, double& mantissa) {
  constexpr std::uint64_t kLast = ((std::uint64_t{1} << 53) - 9) / 10;
  if (mantissa <= static_cast<double>(kLast)) {
    auto exact = static_cast<std::uint64_t>(mantissa);
    for (; is_decimal(*text) && exact <= kLast; ++text) {
      exact = exact * 10 + static_cast<std::uint64_t>(*text - '0');
    }
    mantissa = static_cast<double>(static_cast<std::int64_t>(exact));
  }
  for (; is_decimal(*text); ++text) mantissa = mantissa * 10.0 + (*text - '0');
  return text;
}

// 1.0 multiplied by 10.0 `count` times: up to 10^22 that is exact.
inline double divisor_for(std::int64_t count) {
  constexpr std::int64_t kExact = 22;
  static constexpr double kPowers[kExact + 1] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                 1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  if (count <= kExact) return kPowers[count];
  double divisor = kPowers[kExact];
  for (; count > kExact; --count) divisor *= 10.0;
  return divisor;
}

inline const char* read_digits(const char* text, Digits& number) {
  double mantissa = 0.0;
  double divisor = 1.0;
  while (*text == '0') ++text;
  const char* const first = text;
  text = read_run(text, mantissa);
  number.integer_count = text - first;
  if (*text == '.') {
    const char* const fraction = text + 1;
    text = read_run(fraction, mantissa);
    divisor = divisor_for(text - fraction);
  }
  if (*text == 'e' || *text == 'E') text = read_exponent(text + 1, number.exponent);
  number.value = mantissa / divisor;
  return text;
}

// value * 10^exponent. At both ends of the range of doubles the power of ten
// alone would leave it, so the value is reduced below 1 first and the power
// split in two. Result: false when out of range.
bool scale(Digits& number) {
  const std::int64_t place = number.integer_count + number.exponent;
  if (place > kHighestPlace || place < kLowestPlace) return false;
  if (place != kHighestPlace && place != kLowestPlace) {
    number.value *= __xxjj(10.0, number.exponent);
    return true;
  }
  double reduced = number.value;
  for (std::int64_t i = 0; i < number.integer_count; ++i) reduced /= 10.0;
  if (number.exponent < 0 ? reduced < kLeastFraction : reduced > kLargestFraction) return false;
  if (place == kLowestPlace) {
    number.value = reduced * __xxjj(10.0, place + 1) / 10.0;
  } else {
    // In range, but the power may be a few units too high.
    const double value = reduced * __xxjj(10.0, place - 1) * 10.0;
    number.value = value < kLargestDouble ? value : kLargestDouble;
  }
  return true;
}

// Out of line, so that no step moves out of the caller's TrapsMasked.
TARNAPI __attribute__((noinline)) double read_double(const char* text, char** end) {
  set_end(end, text);
  bool negative;
  text = read_sign(skip_white(text), negative);
  if (!is_decimal(*text) && *text != '.') return 0.0;
  Digits number;
  text = read_digits(text, number);
  if (number.exponent != 0 && !scale(number)) {
    set_errno(kErrnoRange);
    return negative ? -kLargeResult : kLargeResult;
  }
  set_end(end, text);
  return negative ? 0.0 - number.value : number.value;
}

TARNAPI __attribute__((noinline)) float narrow(double value) { return static_cast<float>(value); }

}  // namespace

std::uint32_t strtoul(const char* text, char** end, std::int32_t radix) {
  return parse_unsigned<std::uint32_t>(text, end, radix);
}

std::uint64_t strtoul64(const char* text, char** end, std::int32_t radix) {
  return parse_unsigned<std::uint64_t>(text, end, radix);
}

std::int32_t strtol(const char* text, char** end, std::int32_t radix) {
  return parse_signed<std::int32_t, std::uint32_t>(text, end, radix);
}

std::int64_t strtol64(const char* text, char** end, std::int32_t radix) {
  return parse_signed<std::int64_t, std::uint64_t>(text, end, radix);
}

double strtod(const char* text, char** end) {
  const TrapsMasked masked;
  return read_double(text, end);
}

float single_of(double value) {
  const TrapsMasked masked;
  return narrow(value);
}

std::int32_t atoi(const char* text) { return strtol(text, nullptr, 10); }

std::int32_t atol(const char* text) { return strtol(text, nullptr, 10); }

double atof(const char* text) { return strtod(text, nullptr); }

}  // namespace tarn
