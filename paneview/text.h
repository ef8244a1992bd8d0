// Small string routines, in place of a C library.
#pragma once

#include <cstdint>

#include "platform/byte_block.h"

namespace paneview {

static inline std::uint32_t text_length(const char* text, std::uint32_t limit) {
  std::uint32_t length = 0;
  while (length < limit && text[length] != 0) ++length;
  return length;
}

static inline bool same_text(const char* a, const char* b) {
  while (*a != 0 && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b;
}

using tarn::copy_bytes;

// Of an ASCII letter; anything else is unchanged.
static inline std::int32_t capital(std::int32_t c) {
  return c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c;
}

// A 64-bit integer in decimal: digits and sign at `text`, no NUL.
inline constexpr std::uint32_t kDecimalSize = 20;
static inline std::uint32_t decimal_text(std::int64_t value, char* text) {
  char reversed[kDecimalSize];
  std::uint32_t digits = 0;
  std::uint64_t rest =
      value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
  do {
    reversed[digits++] = static_cast<char>('0' + rest % 10);
    rest /= 10;
  } while (rest != 0);
  std::uint32_t length = 0;
  if (value < 0) text[length++] = '-';
  while (digits > 0) text[length++] = reversed[--digits];
  return length;
}

// To platform::kStandardOutput or another standard handle; whether all arrived.
bool write_to(std::int32_t standard_handle, const char* text, std::uint32_t length);

}  // namespace paneview
