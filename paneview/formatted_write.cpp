// Formatted output of compiled Fortran. The format block is run as a small
// program: up to the next item descriptor when an item comes, to its end when
// the write ends.

#include "paneview/paneview.h"
#include "paneview/raise.h"
#include "paneview/text.h"
#include "platform/platform.h"

namespace paneview {
namespace {

namespace platform = tarn::platform;

inline constexpr std::uint64_t kRuntimeErrorTypeMismatch = 51;
inline constexpr std::uint64_t kRuntimeErrorNoItemDescriptor = 59;
inline constexpr std::uint64_t kRuntimeErrorUnit = 60;
inline constexpr std::uint64_t kRuntimeErrorDescriptor = 74;

inline constexpr std::int32_t kOutputUnit = 6;
inline constexpr std::int32_t kErrorOutputUnit = 0;

inline constexpr std::uint32_t kRecordSize = 4096;

struct Descriptor {
  char kind;
  std::uint32_t number;
};

struct FormattedWrite {
  std::int32_t handle;
  const unsigned char* block;
  std::uint64_t length, position;
  bool item_since_start;  // since the block began or was begun again
  std::uint32_t used;
  char record[kRecordSize];
};
FormattedWrite current;

void put(char character) {
  if (current.used < kRecordSize) current.record[current.used++] = character;
}

void put_blanks(std::uint32_t count) {
  for (; count > 0; --count) put(' ');
}

void end_record() {
  const char control = current.used > 0 ? current.record[0] : '\0';
  const char* lead = control == '1' ? "\f" : control == '0' ? "\r\n" : "";
  const bool taken = control == '1' || control == '0' || control == ' ' || control == '+';
  char out[kRecordSize + 4];
  std::uint32_t length = text_length(lead, 2);
  copy_bytes(out, lead, length);
  const std::uint32_t from = taken ? 1 : 0;
  copy_bytes(out + length, current.record + from, current.used - from);
  length += current.used - from;
  out[length++] = '\r';
  out[length++] = '\n';
  write_to(current.handle, out, length);
  current.used = 0;
}

// The descriptor at the position, which moves past it and past its text.
Descriptor next_descriptor() {
  Descriptor descriptor = {static_cast<char>(current.block[current.position++]), 0};
  if (descriptor.kind == '/') return descriptor;
  if (current.length - current.position < 2) raise_error(kRuntimeErrorDescriptor);
  descriptor.number = static_cast<std::uint32_t>(current.block[current.position] |
                                                 current.block[current.position + 1] << 8);
  current.position += 2;
  if (descriptor.kind == 'T') {
    if (current.length - current.position < descriptor.number) raise_error(kRuntimeErrorDescriptor);
    current.position += descriptor.number;
  }
  return descriptor;
}

// Runs descriptors up to and with the next one for an item; false at the end.
bool run_to_item(Descriptor* item) {
  while (current.position < current.length) {
    const std::uint64_t start = current.position;
    const Descriptor descriptor = next_descriptor();
    switch (descriptor.kind) {
      case 'T':
        for (std::uint64_t i = current.position - descriptor.number; i < current.position; ++i) {
          put(static_cast<char>(current.block[i]));
        }
        break;
      case 'X':
        put_blanks(descriptor.number);
        break;
      case '/':
        end_record();
        break;
      case 'A':
      case 'I':
        if (item == nullptr) {
          current.position = start;
          return true;
        }
        *item = descriptor;
        return true;
      default:
        raise_error(kRuntimeErrorDescriptor);
    }
  }
  return false;
}

Descriptor descriptor_for_item(char kind) {
  Descriptor item;
  if (!run_to_item(&item)) {
    if (!current.item_since_start) raise_error(kRuntimeErrorNoItemDescriptor);
    end_record();
    current.position = 0;
    run_to_item(&item);  // has one: it was found on the last round
  }
  current.item_since_start = true;
  if (item.kind != kind) raise_error(kRuntimeErrorTypeMismatch);
  return item;
}

}  // namespace

void WSF1$$(const std::int32_t* unit, const void* block, std::uint64_t block_length) {
  const std::int32_t number = unit == nullptr ? kOutputUnit : *unit;
  if (number != kOutputUnit && number != kErrorOutputUnit) raise_error(kRuntimeErrorUnit);
  current.handle =
      number == kErrorOutputUnit ? platform::kStandardError : platform::kStandardOutput;
  current.block = static_cast<const unsigned char*>(block);
  current.length = block_length;
  current.position = 0;
  current.item_since_start = false;
  current.used = 0;
}

void CH$WSF(const char* text, std::uint64_t length) {
  const Descriptor item = descriptor_for_item('A');
  const std::uint64_t width = item.number == 0 ? length : item.number;
  if (width > length) put_blanks(static_cast<std::uint32_t>(width - length));
  for (std::uint64_t i = 0; i < width && i < length && current.used < kRecordSize; ++i) {
    put(text[i]);
  }
}

void I4$WSF(const std::int32_t* value) {
  const Descriptor item = descriptor_for_item('I');
  char digits[kDecimalSize];
  const std::uint32_t length = decimal_text(*value, digits);
  const std::uint32_t width = item.number == 0 ? length : item.number;
  if (width < length) {
    for (std::uint32_t i = 0; i < width; ++i) put('*');
    return;
  }
  put_blanks(width - length);
  for (std::uint32_t i = 0; i < length; ++i) put(digits[i]);
}

void WSF2$() {
  run_to_item(nullptr);
  end_record();
}

void STOP$(const char* text, std::uint64_t length) {
  while (length > 0) {
    const std::uint32_t part =
        length < kRecordSize ? static_cast<std::uint32_t>(length) : kRecordSize;
    write_to(platform::kStandardError, text, part);
    text += part;
    length -= part;
  }
  write_to(platform::kStandardError, "\r\n", 2);
  platform::ExitProcess(0);
}

}  // namespace paneview
