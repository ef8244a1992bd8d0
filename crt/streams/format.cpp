#include "format.h"

#include <string.h>

namespace crt {
namespace {

constexpr int kNoLimit = 0x4000, kToFile = 0x2000;  // __mingw_pformat's

extern "C" int __mingw_pformat(int flags, void* to, int size, const char* format, va_list);

// A conversion's text between '%' and its letter.
struct Conversion {
  bool left, zeros, plus, space, alternate;
  long long width;
  long long precision;  // -1: none
  enum Length : unsigned char { kInt, kChar, kShort, kLong, kWide, kLongDouble } length;
  long long place;  // of its argument, from 1; 0: the next one
};

constexpr long long kGreatest = INT_MAX;  // width and precision

long long read_number(const char** text) {
  long long number = 0;
  for (; **text >= '0' && **text <= '9'; ++*text) {
    if (number <= kGreatest) number = number * 10 + (**text - '0');
  }
  return number;
}

// Every argument takes eight bytes, whatever its type.
unsigned long long next_slot(va_list& arguments) { return va_arg(arguments, unsigned long long); }

unsigned long long slot_at(const va_list first, long long place) {
  return reinterpret_cast<const unsigned long long*>(first)[place - 1];
}

// The argument of a '*': the next one, or with "N$" that of its place.
int read_star(const char** text, va_list& arguments, const va_list first) {
  const char* after = ++*text;
  const long long place = read_number(&after);
  if (*after != '$' || place == 0) return static_cast<int>(next_slot(arguments));
  *text = after + 1;
  return static_cast<int>(slot_at(first, place));
}

void read_flags(const char** text, Conversion* is) {
  for (;; ++*text) {
    switch (**text) {
      case '-':
        is->left = true;
        break;
      case '0':
        is->zeros = true;
        break;
      case '+':
        is->plus = true;
        break;
      case ' ':
        is->space = true;
        break;
      case '#':
        is->alternate = true;
        break;
      default:
        return;
    }
  }
}

Conversion::Length read_length(const char** text) {
  const char* const at = *text;
  const auto take = [text](int letters, Conversion::Length length) {
    *text += letters;
    return length;
  };
  switch (*at) {
    case 'h':
      return at[1] == 'h' ? take(2, Conversion::kChar) : take(1, Conversion::kShort);
    case 'l':
      return at[1] == 'l' ? take(2, Conversion::kWide) : take(1, Conversion::kLong);
    case 'j':
    case 'z':
    case 't':
      return take(1, Conversion::kWide);
    case 'I':
      if (at[1] == '6' && at[2] == '4') return take(3, Conversion::kWide);
      if (at[1] == '3' && at[2] == '2') return take(3, Conversion::kInt);
      return take(1, Conversion::kWide);
    case 'L':
      return take(1, Conversion::kLongDouble);
    default:
      return Conversion::kInt;
  }
}

Conversion read_conversion(const char** text, va_list& arguments, const va_list first) {
  Conversion is{};
  is.precision = -1;
  const char* after_place = *text;
  const long long place = read_number(&after_place);
  if (*after_place == '$' && place > 0 && place <= kGreatest) {
    is.place = place;
    *text = after_place + 1;
  }
  read_flags(text, &is);
  if (**text == '*') {
    is.width = read_star(text, arguments, first);
    if (is.width < 0) {
      is.left = true;
      is.width = -is.width;
    }
  } else {
    is.width = read_number(text);
  }
  if (**text == '.') {
    ++*text;
    if (**text == '*') {
      is.precision = read_star(text, arguments, first);
      if (is.precision < 0) is.precision = -1;
    } else {
      is.precision = read_number(text);
    }
  }
  is.length = read_length(text);
  return is;
}

// ---- Integers -----------------------------------------------------------------

struct Pairs {
  char digits[200];
  constexpr Pairs() : digits() {
    for (int i = 0; i < 100; ++i) {
      digits[2 * i] = static_cast<char>('0' + i / 10);
      digits[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
  }
};
constexpr Pairs kPairs;

// Before `end`. Result: the first digit; `end` for 0.
char* write_decimal(char* end, unsigned long long value) {
  while (value >= 100) {
    end -= 2;
    __builtin_memcpy(end, kPairs.digits + 2 * (value % 100), 2);
    value /= 100;
  }
  if (value >= 10) {
    end -= 2;
    __builtin_memcpy(end, kPairs.digits + 2 * value, 2);
  } else if (value > 0) {
    *--end = static_cast<char>('0' + value);
  }
  return end;
}

char* write_by_bits(char* end, unsigned long long value, int bits, const char* digits) {
  for (; value > 0; value >>= bits) *--end = digits[value & ((1u << bits) - 1)];
  return end;
}

// A number of `size` digits before `end`, with its sign or prefix and `zeros` between
// them, within the width.
void put_padded(Output& output, const Conversion& is, const char* prefix, size_t prefix_size,
                long long zeros, const char* digits, size_t size) {
  const long long all = static_cast<long long>(prefix_size + size) + zeros;
  if (!is.left && is.width > all) output.fill(' ', is.width - all);
  if (prefix_size) output.append(prefix, prefix_size);
  if (zeros > 0) output.fill('0', zeros);
  output.append(digits, size);
  if (is.left && is.width > all) output.fill(' ', is.width - all);
}

void put_integer(Output& output, const Conversion& is, char letter, unsigned long long value,
                 bool negative) {
  char digits[24];
  char* const end = digits + sizeof digits;
  char* begin;
  char prefix[2];
  size_t prefix_size = 0;
  switch (letter) {
    case 'x':
    case 'X':
      begin = write_by_bits(end, value, 4, letter == 'x' ? "0123456789abcdef" : "0123456789ABCDEF");
      if (is.alternate && value != 0) {
        prefix[prefix_size++] = '0';
        prefix[prefix_size++] = letter;
      }
      break;
    case 'o':
      begin = write_by_bits(end, value, 3, "01234567");
      if (is.alternate && is.precision <= end - begin) *--begin = '0';
      break;
    default:
      begin = write_decimal(end, value);
      if (negative) {
        prefix[prefix_size++] = '-';
      } else if (letter != 'u' && (is.plus || is.space)) {
        prefix[prefix_size++] = is.plus ? '+' : ' ';
      }
  }
  const long long size = end - begin;
  long long wanted = is.precision < 0 ? 1 : is.precision;
  if (is.zeros && !is.left && is.precision < 0) {
    wanted = is.width - static_cast<long long>(prefix_size);
    if (wanted < 1) wanted = 1;
  }
  put_padded(output, is, prefix, prefix_size, wanted > size ? wanted - size : 0, begin,
             static_cast<size_t>(size));
}

// ---- Doubles ------------------------------------------------------------------

using Wide = unsigned __int128;

constexpr int kMostPower = 27;   // 5 to that power has 63 bits
constexpr int kMostDigits = 18;  // of a value in 64 bits

struct Powers {
  unsigned long long of_five[kMostPower + 1], of_ten[kMostDigits + 1];
  constexpr Powers() : of_five(), of_ten() {
    of_five[0] = of_ten[0] = 1;
    for (int i = 1; i <= kMostPower; ++i) of_five[i] = of_five[i - 1] * 5;
    for (int i = 1; i <= kMostDigits; ++i) of_ten[i] = of_ten[i - 1] * 10;
  }
};
constexpr Powers kPowers;

int bits_of(unsigned long long value) { return 64 - __builtin_clzll(value); }

// fraction * 2^exponent * 10^power, rounded to an integer, halves to the even one; all
// steps are exact. Result: false if that takes more than 128 bits on the way, or the
// result more than 64.
bool scale(unsigned long long fraction, int exponent, int power, unsigned long long* result) {
  Wide quotient, rest, half;
  if (power >= 0) {
    if (power > kMostPower) return false;
    const Wide product = static_cast<Wide>(fraction) * kPowers.of_five[power];
    const int shift = exponent + power;
    if (shift >= 0) {
      if (shift >= 64 || product >> (64 - shift) != 0) return false;
      *result = static_cast<unsigned long long>(product) << shift;
      return true;
    }
    if (shift <= -128) {  // less than a half
      *result = 0;
      return true;
    }
    quotient = product >> -shift;
    half = static_cast<Wide>(1) << (-shift - 1);
    rest = product & (half - 1 + half);
  } else {
    if (power < -kMostPower) return false;
    Wide dividend = fraction, divisor = kPowers.of_five[-power];
    const int shift = exponent + power;
    if (shift >= 0) {
      if (bits_of(fraction) + shift > 127) return false;
      dividend <<= shift;
    } else {
      if (bits_of(kPowers.of_five[-power]) - shift > 126) return false;
      divisor <<= -shift;
    }
    quotient = dividend / divisor;
    rest = (dividend - quotient * divisor) * 2;
    half = divisor;
  }
  if (rest > half || (rest == half && (quotient & 1))) ++quotient;
  if (quotient >> 64 != 0) return false;
  *result = static_cast<unsigned long long>(quotient);
  return true;
}

// A positive value rounded to `count` digits, and the power of ten of the first one.
// Result: false if scale cannot do it.
bool round_to_digits(unsigned long long fraction, int exponent, int count,
                     unsigned long long* digits, int* first) {
  // The logarithm's integer, or one less.
  const int binary = exponent + bits_of(fraction) - 1;
  *first = static_cast<int>((binary * 1292913986LL) >> 32);  // log 2
  for (int turn = 0; turn < 2; ++turn) {
    if (!scale(fraction, exponent, count - 1 - *first, digits)) return false;
    if (*digits < kPowers.of_ten[count]) return true;
    ++*first;
  }
  return false;
}

// What a conversion writes of a value: its digits as an integer, of which `places` are after the
// point, and with an exponent the power of ten of the first digit.
struct Decimal {
  unsigned long long digits;
  long long places;
  int first;
  bool scientific;
};

// fraction * 2^exponent as %e, %f or %g (`kind`) have it. Result: false if scale cannot do it.
bool to_decimal(const Conversion& is, char kind, unsigned long long fraction, int exponent,
                Decimal* decimal) {
  *decimal = {0, is.precision < 0 ? 6 : is.precision, 0, kind == 'e'};
  if (kind == 'f') {
    return fraction == 0 ||
           scale(fraction, exponent, static_cast<int>(decimal->places), &decimal->digits);
  }
  if (kind == 'g') decimal->places = decimal->places == 0 ? 0 : decimal->places - 1;
  const int count = static_cast<int>(decimal->places) + 1;
  if (count > kMostDigits) return false;
  if (fraction != 0 &&
      !round_to_digits(fraction, exponent, count, &decimal->digits, &decimal->first)) {
    return false;
  }
  if (kind != 'g') return true;
  decimal->scientific = decimal->first < -4 || decimal->first >= count;
  if (!decimal->scientific) decimal->places -= decimal->first;
  if (is.alternate) return true;
  for (; decimal->places > 0 && decimal->digits % 10 == 0; --decimal->places) decimal->digits /= 10;
  return true;
}

// Writes it before `end`, from its end: exponent, places, point, the rest. Result: the first
// character; null if the places do not hold the digits.
char* write_number(char* end, const Decimal& decimal, bool has_point, char e) {
  char* begin = end;
  unsigned long long digits = decimal.digits;
  if (decimal.scientific) {
    const int size = decimal.first < 0 ? -decimal.first : decimal.first;
    begin = write_decimal(begin, static_cast<unsigned>(size));
    while (end - begin < 2) *--begin = '0';
    *--begin = decimal.first < 0 ? '-' : '+';
    *--begin = e;
  }
  if (decimal.places > 0) {
    char* const point = begin - decimal.places;
    if (decimal.places <= kMostDigits) {
      const unsigned long long whole = digits / kPowers.of_ten[decimal.places];
      begin = write_decimal(begin, digits - whole * kPowers.of_ten[decimal.places]);
      digits = whole;
    } else {  // they are all there is
      begin = write_decimal(begin, digits);
      digits = 0;
      if (begin < point) return nullptr;
    }
    while (begin > point) *--begin = '0';
    *--begin = '.';
  } else if (has_point) {
    *--begin = '.';
  }
  char* const whole_end = begin;
  begin = write_decimal(begin, digits);
  if (begin == whole_end) *--begin = '0';
  return begin;
}

// Result: false if libmingwex is to do it, with nothing written.
bool put_double(Output& output, const Conversion& is, char letter, unsigned long long word) {
  if (is.precision > kMostPower) return false;
  const bool negative = word >> 63;
  int exponent = static_cast<int>(word >> 52 & 0x7FF);
  unsigned long long fraction = word & 0xFFFFFFFFFFFFF;
  if (exponent == 0x7FF) return false;
  if (exponent == 0) {
    exponent = 1;
  } else {
    fraction |= 0x10000000000000;
  }
  exponent -= 1075;

  Decimal decimal;
  const bool is_capital = letter < 'a';
  if (!to_decimal(is, static_cast<char>(letter | 0x20), fraction, exponent, &decimal)) return false;
  char text[64];
  char* const end = text + sizeof text;
  const char* const begin = write_number(end, decimal, is.alternate, is_capital ? 'E' : 'e');
  if (!begin) return false;

  const char sign = negative ? '-' : is.plus ? '+' : ' ';
  const size_t sign_size = negative || is.plus || is.space;
  const long long size = end - begin;
  const long long room = is.width - size - static_cast<long long>(sign_size);
  put_padded(output, is, &sign, sign_size, is.zeros && !is.left && room > 0 ? room : 0, begin,
             static_cast<size_t>(size));
  return true;
}

// ---- Others ------------------------------------------------------------------

void put_string(Output& output, const Conversion& is, const char* text) {
  if (!text) text = "(null)";
  const size_t size =
      is.precision < 0 ? strlen(text) : strnlen(text, static_cast<size_t>(is.precision));
  put_padded(output, is, nullptr, 0, 0, text, size);
}

void store_count(const Conversion& is, void* to, unsigned long long count) {
  switch (is.length) {
    case Conversion::kChar:
      *static_cast<signed char*>(to) = static_cast<signed char>(count);
      break;
    case Conversion::kShort:
      *static_cast<short*>(to) = static_cast<short>(count);
      break;
    case Conversion::kWide:
      *static_cast<long long*>(to) = static_cast<long long>(count);
      break;
    default:
      *static_cast<int*>(to) = static_cast<int>(count);
  }
}

void put_slot_as_integer(Output& output, const Conversion& is, char letter,
                         unsigned long long slot) {
  const bool has_sign = letter == 'd' || letter == 'i';
  long long value;
  switch (is.length) {
    case Conversion::kChar:
      value = has_sign ? static_cast<signed char>(slot) : static_cast<unsigned char>(slot);
      break;
    case Conversion::kShort:
      value = has_sign ? static_cast<short>(slot) : static_cast<unsigned short>(slot);
      break;
    case Conversion::kWide:
      value = static_cast<long long>(slot);
      break;
    default:
      value =
          has_sign ? static_cast<int>(slot) : static_cast<long long>(static_cast<unsigned>(slot));
  }
  const bool negative = has_sign && value < 0;
  const unsigned long long size = static_cast<unsigned long long>(value);
  put_integer(output, is, letter, negative ? 0 - size : size, negative);
}

// The conversion as text, without places.
void write_alone(char* to, const Conversion& is, char letter) {
  constexpr const char* kLengths[] = {"", "hh", "h", "l", "ll", "L"};
  char digits[24];
  char* const end = digits + sizeof digits;
  const auto add = [&to](const char* begin, const char* after) {
    while (begin < after) *to++ = *begin++;
  };
  *to++ = '%';
  if (is.left) *to++ = '-';
  if (is.zeros) *to++ = '0';
  if (is.plus) *to++ = '+';
  if (is.space) *to++ = ' ';
  if (is.alternate) *to++ = '#';
  add(write_decimal(end, static_cast<unsigned long long>(is.width)), end);
  if (is.precision >= 0) *to++ = '.';
  if (is.precision > 0) add(write_decimal(end, static_cast<unsigned long long>(is.precision)), end);
  const char* const length = kLengths[is.length];
  add(length, length + strlen(length));
  *to++ = letter;
  *to = '\0';
}

struct Letters {
  bool known[256];
  constexpr Letters() : known() {
    for (const char letter : "diuxXofFeEgGaAcCsSpnm%") known[static_cast<int>(letter)] = true;
    known[0] = false;
  }
};
constexpr Letters kLetters;

// Result: false if libmingwex is to do it, with nothing written.
bool put_conversion(Output& output, const Conversion& is, char letter, unsigned long long slot) {
  switch (letter) {
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
    case 'o':
      put_slot_as_integer(output, is, letter, slot);
      return true;
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
      return is.length != Conversion::kLongDouble && put_double(output, is, letter, slot);
    case 'c': {
      if (is.length != Conversion::kInt) return false;
      const char character = static_cast<char>(slot);
      put_padded(output, is, nullptr, 0, 0, &character, 1);
      return true;
    }
    case 's':
      if (is.length != Conversion::kInt) return false;
      put_string(output, is, reinterpret_cast<const char*>(slot));
      return true;
    case 'n':
      store_count(is, reinterpret_cast<void*>(slot), output.count());
      return true;
  }
  return false;
}

}  // namespace

void Output::append_long(const char* bytes, size_t size) {
  while (size > static_cast<size_t>(end_ - next_)) {
    const size_t room = static_cast<size_t>(end_ - next_);
    memcpy(next_, bytes, room);
    next_ += room;
    bytes += room;
    size -= room;
    if (!stream_) {
      passed_ += size;
      return;
    }
    finish();
  }
  memcpy(next_, bytes, size);
  next_ += size;
}

void Output::fill(char character, long long count) {
  constexpr long long kPiece = 256;
  if (count > static_cast<long long>(kShortCopy)) {
    char piece[kPiece];
    memset(piece, character, static_cast<size_t>(count < kPiece ? count : kPiece));
    for (; count >= kPiece; count -= kPiece) append(piece, kPiece);
    append(piece, static_cast<size_t>(count));
    return;
  }
  for (; count > 0; --count) put(character);
}

bool Output::finish() {
  const size_t size = static_cast<size_t>(next_ - begin_);
  if (stream_ && size > 0) {
    if (write_block(*stream_, begin_, size) != size) failed_ = true;
    passed_ += size;
    next_ = begin_;
  }
  return !failed_;
}

void Output::pass(const char* conversion, va_list arguments) {
  if (stream_) {
    finish();
    // It counts the characters whether they could be written or not.
    const FreshError error(*stream_);
    passed_ += static_cast<unsigned>(
        __mingw_pformat(kToFile | kNoLimit, &stream_->face, 0, conversion, arguments));
    if (error.is_set()) failed_ = true;
    return;
  }
  const size_t room = static_cast<size_t>(end_ - next_);
  const int limit = room > INT_MAX ? INT_MAX : static_cast<int>(room);
  const int size = __mingw_pformat(0, next_, limit, conversion, arguments);
  const int here = size < limit ? size : limit;
  next_ += here;
  passed_ += static_cast<unsigned>(size - here);
}

void format(Output& output, const char* text, va_list arguments) {
  const va_list first = arguments;
  for (;;) {
    const char* const plain = text;
    while (*text && *text != '%') ++text;
    if (text != plain) output.append(plain, static_cast<size_t>(text - plain));
    if (!*text) return;
    const char* const begin = text++;
    if (*text == '%') {
      output.put(*text++);
      continue;
    }
    va_list before;
    va_copy(before, arguments);
    const Conversion is = read_conversion(&text, arguments, first);
    if (is.width > kGreatest || is.precision > kGreatest) {
      output.count_too_many();
      return;
    }
    const char letter = *text++;
    char alone[64];
    const size_t size = static_cast<size_t>(text - begin);
    // What another letter means, and what it takes, is for libmingwex to say.
    if (!kLetters.known[static_cast<unsigned char>(letter)] || size >= sizeof alone) {
      output.pass(begin, before);
      return;
    }
    const bool takes = letter != 'm' && letter != '%';
    unsigned long long slot = 0;
    if (takes) slot = is.place > 0 ? slot_at(first, is.place) : next_slot(arguments);
    if (takes && put_conversion(output, is, letter, slot)) continue;
    if (is.place > 0) {
      write_alone(alone, is, letter);
      output.pass(alone, reinterpret_cast<va_list>(&slot));
      continue;
    }
    memcpy(alone, begin, size);
    alone[size] = '\0';
    output.pass(alone, before);
  }
}

}  // namespace crt
