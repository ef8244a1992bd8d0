// Digits of unsigned integers, small enough to be inline at every use.
//
// The writers go backwards from `end`, so the caller counts the digits first
// and lets them fall into their final place. They write exactly that many
// bytes and no NUL.
#pragma once

#include <cstdint>

namespace tarn::digits {

// "00" to "99": two decimal digits for one division.
inline constexpr char kPairs[] =
    "00010203040506070809"
    "10111213141516171819"
    "20212223242526272829"
    "30313233343536373839"
    "40414243444546474849"
    "50515253545556575859"
    "60616263646566676869"
    "70717273747576777879"
    "80818283848586878889"
    "90919293949596979899";

inline constexpr char kUpper[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
inline constexpr char kLower[] = "0123456789abcdef";

inline constexpr std::uint64_t kPowersOfTen[20] = {
    1,
    10,
    100,
    1'000,
    10'000,
    100'000,
    1'000'000,
    10'000'000,
    100'000'000,
    1'000'000'000,
    10'000'000'000,
    100'000'000'000,
    1'000'000'000'000,
    10'000'000'000'000,
    100'000'000'000'000,
    1'000'000'000'000'000,
    10'000'000'000'000'000,
    100'000'000'000'000'000,
    1'000'000'000'000'000'000,
    10'000'000'000'000'000'000u,
};

inline constexpr std::int32_t kMinRadix = 2;
inline constexpr std::int32_t kMaxRadix = 36;

// The longest digits of 64 bits: radix 2.
inline constexpr int kMaxDigits = 64;

inline bool is_decimal(char c) { return c >= '0' && c <= '9'; }

// Bits up to the highest one set; 1 for 0.
inline int bit_length(std::uint64_t value) { return 64 - __builtin_clzll(value | 1); }

inline int count_decimal(std::uint64_t value) {
  // 1233 / 4096 is log10(2), close enough for up to 64 bits; the table corrects.
  const int guess = bit_length(value) * 1233 >> 12;
  return guess + (value >= kPowersOfTen[guess] || guess == 0);
}

// Digits of `bits` bits each: radix 1 << bits.
inline int count_binary(std::uint64_t value, int bits) {
  return (bit_length(value) + bits - 1) / bits;
}

inline char* write_decimal(char* end, std::uint64_t value) {
  while (value >= 100) {
    const std::uint64_t rest = value / 100;
    end -= 2;
    __builtin_memcpy(end, kPairs + (value - rest * 100) * 2, 2);
    value = rest;
  }
  if (value < 10) {
    *--end = static_cast<char>('0' + value);
    return end;
  }
  end -= 2;
  __builtin_memcpy(end, kPairs + value * 2, 2);
  return end;
}

// A number below 10^8 as eight digits, the first in the lowest byte.
inline std::uint64_t eight_digits(std::uint32_t value) {
  // Halves, quarters, digits: each step splits all parts of the one before.
  const std::uint64_t fours = value / 10000 + (std::uint64_t{value % 10000} << 32);
  const std::uint64_t hundreds = (fours * 10486 >> 20) & 0x0000'007F'0000'007F;
  const std::uint64_t twos = hundreds + ((fours - hundreds * 100) << 16);
  const std::uint64_t tens = (twos * 103 >> 10) & 0x000F'000F'000F'000F;
  return tens + ((twos - tens * 10) << 8) + 0x3030'3030'3030'3030;
}

inline char* write_binary(char* end, std::uint64_t value, int bits, const char* characters) {
  const std::uint64_t mask = (std::uint64_t{1} << bits) - 1;
  do {
    *--end = characters[value & mask];
    value >>= bits;
  } while (value != 0);
  return end;
}

}  // namespace tarn::digits
