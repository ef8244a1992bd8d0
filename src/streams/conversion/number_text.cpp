#include "streams/conversion/number_text.h"

#include "numerics/elementary.h"
#include "platform/byte_block.h"
#include "process/process_state.h"
#include "streams/conversion/digits.h"

namespace tarn {
namespace {

bool is_radix(std::int32_t radix) {
  return radix >= digits::kMinRadix && radix <= digits::kMaxRadix;
}

char* write_unsigned(std::uint64_t value, char* buffer, std::int32_t radix) {
  if (radix == 10 || !is_radix(radix)) {
    char* const end = buffer + digits::count_decimal(value);
    digits::write_decimal(end, value);
    *end = '\0';
    return buffer;
  }
  const auto base = static_cast<std::uint64_t>(radix);
  if ((base & (base - 1)) == 0) {
    const int bits = __builtin_ctzll(base);
    char* const end = buffer + digits::count_binary(value, bits);
    digits::write_binary(end, value, bits, digits::kUpper);
    *end = '\0';
    return buffer;
  }
  char text[digits::kMaxDigits];
  char* const end = text + sizeof text;
  char* first = end;
  do {
    *--first = digits::kUpper[value % base];
    value /= base;
  } while (value != 0);
  *append_bytes(buffer, first, static_cast<std::uint64_t>(end - first)) = '\0';
  return buffer;
}

char* write_signed(std::int64_t value, char* buffer, std::int32_t radix) {
  if (!is_radix(radix)) {
    set_errno(kErrnoRange);
    return nullptr;
  }
  if (value >= 0) return write_unsigned(static_cast<std::uint64_t>(value), buffer, radix);
  *buffer = '-';
  write_unsigned(0 - static_cast<std::uint64_t>(value), buffer + 1, 10);
  return buffer;
}

}  // namespace

char* u64toa(std::uint64_t value, char* buffer, std::int32_t radix) {
  return write_unsigned(value, buffer, radix);
}

char* utoa(std::uint32_t value, char* buffer, std::int32_t radix) {
  return write_unsigned(value, buffer, radix);
}

char* i64toa(std::int64_t value, char* buffer, std::int32_t radix) {
  return write_signed(value, buffer, radix);
}

char* itoa(std::int32_t value, char* buffer, std::int32_t radix) {
  return write_signed(value, buffer, radix);
}

}  // namespace tarn
