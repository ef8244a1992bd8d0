// Integers from and to strings.
#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include "../strings/checked.h"

namespace {

int digit_of(int character) {
  if (isdigit(character)) return character - '0';
  if (isalpha(character)) return tolower(character) - 'a' + 10;
  return 36;
}

// The digits of a number as strtol reads it. `most` is the largest magnitude of a
// positive result, `most_negative` of a negative one.
struct Parsed {
  unsigned long long magnitude;
  bool negative, too_large;
};

template <class Char>
Parsed parse(const Char* string, Char** end, int base) {
  Parsed result = {};
  const Char* at = string;
  if (end) *end = const_cast<Char*>(string);
  if (base < 0 || base == 1 || base > 36) {
    errno = EINVAL;
    return result;
  }
  while (*at < 128 && isspace(static_cast<int>(*at))) ++at;
  if (*at == '+' || *at == '-') result.negative = *at++ == '-';
  const auto digit = [](Char c) {
    return static_cast<unsigned>(c) < 128 ? digit_of(static_cast<int>(c)) : 36;
  };
  if ((base == 0 || base == 16) && at[0] == '0' && (at[1] == 'x' || at[1] == 'X') &&
      digit(at[2]) < 16) {
    at += 2;
    base = 16;
  } else if (base == 0) {
    base = *at == '0' ? 8 : 10;
  }
  const Char* const first = at;
  for (; digit(*at) < base; ++at) {
    unsigned long long next;
    if (__builtin_mul_overflow(result.magnitude, static_cast<unsigned>(base), &next) ||
        __builtin_add_overflow(next, static_cast<unsigned>(digit(*at)), &next)) {
      result.too_large = true;
    } else {
      result.magnitude = next;
    }
  }
  if (end && at != first) *end = const_cast<Char*>(at);
  return result;
}

template <class Integer, class Unsigned, class Char>
Integer parse_signed(const Char* string, Char** end, int base) {
  constexpr Unsigned kMost = static_cast<Unsigned>(~Unsigned{0} >> 1);
  const Parsed parsed = parse(string, end, base);
  const unsigned long long limit = parsed.negative ? kMost + 1ull : kMost;
  if (parsed.too_large || parsed.magnitude > limit) {
    errno = ERANGE;
    return static_cast<Integer>(limit);
  }
  return static_cast<Integer>(parsed.negative ? 0 - parsed.magnitude : parsed.magnitude);
}

template <class Unsigned, class Char>
Unsigned parse_unsigned(const Char* string, Char** end, int base) {
  const Parsed parsed = parse(string, end, base);
  if (parsed.too_large || parsed.magnitude > static_cast<Unsigned>(~Unsigned{0})) {
    errno = ERANGE;
    return static_cast<Unsigned>(~Unsigned{0});
  }
  return static_cast<Unsigned>(parsed.negative ? 0 - parsed.magnitude : parsed.magnitude);
}

// Digits of a value, the last one first; a sign in base 10 only.
template <class Char, class Unsigned>
Char* write_digits(Unsigned value, bool negative, Char* to, int base) {
  Char* at = to;
  if (base < 2 || base > 36) {
    *to = 0;
    errno = EINVAL;
    return to;
  }
  if (negative && base == 10) {
    *at++ = '-';
    value = 0 - value;
  }
  Char* first = at;
  do {
    *at++ = static_cast<Char>(
        "0123456789abcdefghijklmnopqrstuvwxyz"[value % static_cast<Unsigned>(base)]);
    value /= static_cast<Unsigned>(base);
  } while (value != 0);
  *at = 0;
  for (Char* last = at - 1; first < last; ++first, --last) {
    const Char kept = *first;
    *first = *last;
    *last = kept;
  }
  return to;
}

constexpr size_t kMostDigits = 65;  // of 64 bits in base 2, with a sign

template <class Unsigned, class Number, class Char>
errno_t write_checked(Number value, Char* to, size_t size, int base) {
  if (base < 2 || base > 36) return crt::refuse(to, size, EINVAL);
  Char digits[kMostDigits + 1];
  return crt::copy_checked(
      to, size, 0, write_digits(static_cast<Unsigned>(value), value < Number{}, digits, base));
}

}  // namespace

extern "C" {
long strtol(const char* s, char** end, int base) {
  return parse_signed<long, unsigned long>(s, end, base);
}
unsigned long strtoul(const char* s, char** end, int base) {
  return parse_unsigned<unsigned long>(s, end, base);
}
long long _strtoi64(const char* s, char** end, int base) {
  return parse_signed<long long, unsigned long long>(s, end, base);
}
unsigned long long _strtoui64(const char* s, char** end, int base) {
  return parse_unsigned<unsigned long long>(s, end, base);
}
long wcstol(const wchar_t* s, wchar_t** end, int base) {
  return parse_signed<long, unsigned long>(s, end, base);
}
unsigned long wcstoul(const wchar_t* s, wchar_t** end, int base) {
  return parse_unsigned<unsigned long>(s, end, base);
}
long long _wcstoi64(const wchar_t* s, wchar_t** end, int base) {
  return parse_signed<long long, unsigned long long>(s, end, base);
}
unsigned long long _wcstoui64(const wchar_t* s, wchar_t** end, int base) {
  return parse_unsigned<unsigned long long>(s, end, base);
}
int atoi(const char* s) { return static_cast<int>(_strtoi64(s, nullptr, 10)); }
long atol(const char* s) { return static_cast<long>(_strtoi64(s, nullptr, 10)); }
long long _atoi64(const char* s) { return _strtoi64(s, nullptr, 10); }

char* _itoa(int value, char* to, int base) {
  return write_digits(static_cast<unsigned>(value), value < 0, to, base);
}
char* _ltoa(long value, char* to, int base) {
  return write_digits(static_cast<unsigned long>(value), value < 0, to, base);
}
char* _ultoa(unsigned long value, char* to, int base) {
  return write_digits(value, false, to, base);
}
char* _i64toa(long long value, char* to, int base) {
  return write_digits(static_cast<unsigned long long>(value), value < 0, to, base);
}
char* _ui64toa(unsigned long long value, char* to, int base) {
  return write_digits(value, false, to, base);
}

wchar_t* _itow(int value, wchar_t* to, int base) {
  return write_digits(static_cast<unsigned>(value), value < 0, to, base);
}
wchar_t* _i64tow(long long value, wchar_t* to, int base) {
  return write_digits(static_cast<unsigned long long>(value), value < 0, to, base);
}
wchar_t* _ui64tow(unsigned long long value, wchar_t* to, int base) {
  return write_digits(value, false, to, base);
}

int(abs)(int value) { return value < 0 ? -value : value; }
long(labs)(long value) { return value < 0 ? -value : value; }

#define FROM_NUMBER(name, Number, Unsigned, Char)                   \
  errno_t name##_s(Number value, Char* to, size_t size, int base) { \
    return write_checked<Unsigned>(value, to, size, base);          \
  }
FROM_NUMBER(_itoa, int, unsigned, char)
FROM_NUMBER(_ltoa, long, unsigned long, char)
FROM_NUMBER(_ultoa, unsigned long, unsigned long, char)
FROM_NUMBER(_i64toa, long long, unsigned long long, char)
FROM_NUMBER(_ui64toa, unsigned long long, unsigned long long, char)
FROM_NUMBER(_itow, int, unsigned, wchar_t)
FROM_NUMBER(_ltow, long, unsigned long, wchar_t)
FROM_NUMBER(_ultow, unsigned long, unsigned long, wchar_t)
FROM_NUMBER(_i64tow, long long, unsigned long long, wchar_t)
FROM_NUMBER(_ui64tow, unsigned long long, unsigned long long, wchar_t)
wchar_t* _ltow(long value, wchar_t* to, int base) {
  return write_digits(static_cast<unsigned long>(value), value < 0, to, base);
}
wchar_t* _ultow(unsigned long value, wchar_t* to, int base) {
  return write_digits(value, false, to, base);
}
}
