// Doubles from text. Decimal numbers of the usual length and size are converted here; the
// others by libmingwex, which takes locks and storage for each. Both round correctly, to
// the nearest.
#include <stdlib.h>

#include "../crt.h"

extern "C" {
#undef strtod
double strtod(const char*, char**);

// libmingwex's for formats of any size: the format, then the exponent of the last bit and
// the bits, and of which kind the number is.
int __strtodg(const char* text, char** end, const int* format, int* exponent, unsigned* bits);
}

namespace {

using Word = unsigned long long;
using Wide = unsigned __int128;

constexpr int kFractionBits = 52;
constexpr Word kHidden = Word{1} << kFractionBits, kInfinite = Word{0x7FF} << kFractionBits;
constexpr Word kQuiet = kHidden >> 1, kSign = Word{1} << 63;
constexpr int kBias = 1023 + kFractionBits;

double from_bits(Word bits) {
  double value;
  __builtin_memcpy(&value, &bits, sizeof value);
  return value;
}

double convert_slowly(const char* text, char** end) {
  // Bits, the least and the greatest exponent of the last one, to the nearest, gradual
  // underflow, decimal digits of an integer.
  constexpr int kDouble[] = {53, 1 - kBias, 2046 - kBias, 1, 0, 14};
  enum Kind { kZero, kNormal, kDenormal, kTooGreat, kNan, kNanOfBits, kNoNumber };
  constexpr int kKind = 7, kNegative = 8;
  int exponent = 0;
  unsigned halves[2] = {};
  const int outcome = __strtodg(text, end, kDouble, &exponent, halves);
  Word bits = Word{halves[1]} << 32 | halves[0];
  switch (outcome & kKind) {
    case kZero:
    case kNoNumber:
      bits = 0;
      break;
    case kNormal:
      bits = (bits & (kHidden - 1)) | static_cast<Word>(exponent + kBias) << kFractionBits;
      break;
    case kTooGreat:
      bits = kInfinite;
      break;
    case kNan:
      bits = kInfinite | kQuiet;
      break;
    case kNanOfBits:
      bits |= kInfinite;
      break;
  }
  return from_bits(outcome & kNegative ? bits | kSign : bits);
}

constexpr int kMostPower = 27;   // 5 to that power has 63 bits
constexpr int kMostDigits = 19;  // of a number in 64 bits

struct PowersOfFive {
  Word of[kMostPower + 1];
  constexpr PowersOfFive() : of() {
    of[0] = 1;
    for (int i = 1; i <= kMostPower; ++i) of[i] = of[i - 1] * 5;
  }
};
constexpr PowersOfFive kFives;

// digits * 10^power; `digits` is not 0, `power` at most kMostPower either way.
Word scale(Word digits, int power) {
  Wide exact;
  int exponent = power;
  if (power >= 0) {
    exact = static_cast<Wide>(digits) * kFives.of[power];
  } else {
    const int shift = 64 + __builtin_clzll(digits);
    const Wide dividend = static_cast<Wide>(digits) << shift;
    const Word divisor = kFives.of[-power];
    exact = dividend / divisor;
    // 65 bits at least, so that the last one is below the half of the rounding.
    if (exact * divisor != dividend) exact |= 1;
    exponent -= shift;
  }
  const Word high = static_cast<Word>(exact >> 64);
  const int size =
      high ? 128 - __builtin_clzll(high) : 64 - __builtin_clzll(static_cast<Word>(exact));
  const int dropped = size - (kFractionBits + 1);
  Word fraction;
  if (dropped <= 0) {
    fraction = static_cast<Word>(exact) << -dropped;
  } else {
    fraction = static_cast<Word>(exact >> dropped);
    const Wide half = static_cast<Wide>(1) << (dropped - 1);
    const Wide rest = exact & (half * 2 - 1);
    if (rest > half || (rest == half && (fraction & 1))) ++fraction;
  }
  // A fraction that was rounded up to the next power of two adds one to the exponent.
  return (static_cast<Word>(exponent + dropped + kBias) << kFractionBits) + (fraction - kHidden);
}

bool is_digit(char character) { return character >= '0' && character <= '9'; }

// [sign] digits [. digits] [e [sign] digits]. False: it is something else, or too much.
bool convert(const char* text, char** end, double* value) {
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  const bool negative = *text == '-';
  if (negative || *text == '+') ++text;
  if (!is_digit(text[0]) && !(text[0] == '.' && is_digit(text[1]))) return false;
  if (text[0] == '0' && (text[1] | 0x20) == 'x') return false;
  Word digits = 0;
  int count = 0, power = 0;
  for (bool after_point = false;; ++text) {
    if (*text == '.' && !after_point) {
      after_point = true;
      continue;
    }
    if (!is_digit(*text)) break;
    if (count > 0 || *text != '0') ++count;
    if (count > kMostDigits || power < -kMostPower - kMostDigits) return false;
    digits = digits * 10 + static_cast<Word>(*text - '0');
    power -= after_point;
  }
  if ((*text | 0x20) == 'e') {
    const char* at = text + 1;
    const bool down = *at == '-';
    if (down || *at == '+') ++at;
    if (is_digit(*at)) {
      int size = 0;
      for (; is_digit(*at); ++at) {
        size = size * 10 + (*at - '0');
        if (size > 9999) return false;
      }
      power += down ? -size : size;
      text = at;
    }
  }
  if (digits != 0 && (power > kMostPower || power < -kMostPower)) return false;
  const Word bits = digits == 0 ? 0 : scale(digits, power);
  *value = from_bits(negative ? bits | kSign : bits);
  if (end) *end = const_cast<char*>(text);
  return true;
}

}  // namespace

CRT_API double strtod(const char* text, char** end) {
  double value;
  return convert(text, end, &value) ? value : convert_slowly(text, end);
}
CRT_API double atof(const char* text) { return strtod(text, nullptr); }
