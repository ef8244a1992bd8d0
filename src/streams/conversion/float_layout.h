// The pieces of a floating-point number's text, which the exported writers
// (float_text.h) and the formatting engine put together. Private to the library.
//
//   [-] lead digits [.] gap zeros, tail digits, zeros [exponent]
#pragma once

#include "platform/byte_block.h"

namespace tarn {

// Digits that can differ from "0". A fraction below 1 has no bits below 2^-52
// once a digit other than 0 was taken off, and each further digit takes one bit
// away; the first digits of a subnormal value are up to 16 zeros.
inline constexpr std::int32_t kSignificantDigits = 80;

struct FloatLayout {
  bool negative;
  bool point;
  std::int32_t lead;   // 1 or more
  std::int32_t gap;    // zeros between the point and the tail
  std::int32_t tail;   // digits after the gap, zeros at their end left out
  std::int64_t zeros;  // those
  std::int32_t exponent_size;
  char exponent[8];
  std::int32_t start;  // lead and tail are from here on in `digits`
  std::int32_t kept;   // as many of them; all further ones are "0"
  // Space for a "0" before them, and enough after them for fixed-size copies of
  // the digits.
  char digits[1 + kSignificantDigits + 23];
};

// Below 0 a precision counts as 0. NaN and infinities raise 297.
TARNAPI void layout_fixed(FloatLayout& layout, double value, std::int32_t precision, bool alt);
TARNAPI void layout_exponent(FloatLayout& layout, double value, std::int32_t precision, bool alt,
                             bool upper);
TARNAPI void layout_general(FloatLayout& layout, double value, std::int32_t precision, bool upper);

// Leaves out the zeros at the end of the fraction, and the point if nothing
// remains after it.
inline void strip_zeros(FloatLayout& layout) {
  const char* const digits = layout.digits + layout.start + layout.lead - 1;
  layout.zeros = 0;
  while (layout.tail > 0 && digits[layout.tail] == '0') --layout.tail;
  if (layout.tail == 0) {
    layout.gap = 0;
    layout.point = false;
  }
}

// The head: all between the sign and the zeros.
inline constexpr std::int32_t kLongestHead = 310 + 1 + 330 + kSignificantDigits;
inline std::int32_t head_size(const FloatLayout& layout) {
  return layout.lead + layout.point + layout.gap + layout.tail;
}
inline std::int64_t layout_size(const FloatLayout& layout) {
  return head_size(layout) + layout.zeros + layout.exponent_size;
}

// Exactly `size` bytes; 16 can be read at `from`.
inline char* copy_digits(char* to, const char* from, std::int32_t size) {
  if (size > 16) return append_bytes(to, from, static_cast<std::uint64_t>(size));
  // Two moves that overlap in the middle.
  if (size >= 8) {
    __builtin_memcpy(to, from, 8);
    __builtin_memcpy(to + size - 8, from + size - 8, 8);
  } else if (size >= 4) {
    __builtin_memcpy(to, from, 4);
    __builtin_memcpy(to + size - 4, from + size - 4, 4);
  } else {
    for (std::int32_t i = 0; i < size; ++i) to[i] = from[i];
  }
  return to + size;
}

// Writes the head. Result: the byte after it.
TARNAPI inline char* write_head(char* to, const FloatLayout& layout) {
  const char* from = layout.digits + layout.start;
  if (layout.lead <= layout.kept) {
    to = copy_digits(to, from, layout.lead);
  } else {
    to = copy_digits(to, from, layout.kept);
    to = append_fill(to, '0', static_cast<std::uint64_t>(layout.lead - layout.kept));
  }
  if (layout.point) *to++ = '.';
  if (layout.gap > 0) to = append_fill(to, '0', static_cast<std::uint64_t>(layout.gap));
  return copy_digits(to, from + layout.lead, layout.tail);
}

// Writes all but the sign. Result: the byte after it.
TARNAPI inline char* write_layout(char* to, const FloatLayout& layout) {
  to = write_head(to, layout);
  if (layout.zeros > 0) to = append_fill(to, '0', static_cast<std::uint64_t>(layout.zeros));
  for (std::int32_t i = 0; i < layout.exponent_size; ++i) *to++ = layout.exponent[i];
  return to;
}

}  // namespace tarn
