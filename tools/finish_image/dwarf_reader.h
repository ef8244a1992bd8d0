// Reads the numbers of a DWARF section one by one. A read beyond the section
// is an error with the section's name.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

#include "image.h"

namespace finisher {

// The debug sections of an image; those that it does not have are empty.
struct DebugSections {
  using Bytes = std::span<const std::uint8_t>;
  Bytes info = {}, abbreviations = {}, line = {}, line_texts = {}, texts = {}, addresses = {},
        ranges = {}, range_lists = {};
};

// How a value is encoded; those that the readers here distinguish.
enum DwarfForm : std::uint64_t {
  kFormAddress = 0x01,
  kFormBlock2 = 0x03,
  kFormBlock4 = 0x04,
  kFormData2 = 0x05,
  kFormData4 = 0x06,
  kFormData8 = 0x07,
  kFormText = 0x08,
  kFormBlock = 0x09,
  kFormBlock1 = 0x0A,
  kFormData1 = 0x0B,
  kFormFlag = 0x0C,
  kFormSigned = 0x0D,
  kFormTextOffset = 0x0E,
  kFormUnsigned = 0x0F,
  kFormReferenceInInfo = 0x10,
  kFormReference1 = 0x11,
  kFormReference2 = 0x12,
  kFormReference4 = 0x13,
  kFormReference8 = 0x14,
  kFormReferenceUnsigned = 0x15,
  kFormIndirect = 0x16,
  kFormSectionOffset = 0x17,
  kFormExpression = 0x18,
  kFormFlagPresent = 0x19,
  kFormTextIndex = 0x1A,
  kFormAddressIndex = 0x1B,
  kFormOtherReference4 = 0x1C,
  kFormOtherText = 0x1D,
  kFormData16 = 0x1E,
  kFormLineTextOffset = 0x1F,
  kFormSignature8 = 0x20,
  kFormImplicit = 0x21,
  kFormLocationListIndex = 0x22,
  kFormRangeListIndex = 0x23,
  kFormOtherReference8 = 0x24,
  kFormTextIndex1 = 0x25,
  kFormTextIndex4 = 0x28,
  kFormAddressIndex1 = 0x29,
  kFormAddressIndex4 = 0x2C,
};

struct DwarfReader {
  std::span<const std::uint8_t> bytes;
  const char* section;  // for messages
  std::size_t at = 0;

  bool done() const { return at >= bytes.size(); }

  void need(std::uint64_t size) const {
    if (at > bytes.size() || size > bytes.size() - at) {
      refuse("the debug data (%s) are damaged", section);
    }
  }

  void skip(std::uint64_t size) {
    need(size);
    at += static_cast<std::size_t>(size);
  }

  void go_to(std::uint64_t offset) {
    at = 0;
    skip(offset);
  }

  std::uint64_t fixed(std::size_t size) {
    need(size);
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; i++) value |= std::uint64_t{bytes[at + i]} << (8 * i);
    at += size;
    return value;
  }

  std::uint8_t byte() { return static_cast<std::uint8_t>(fixed(1)); }

  std::uint64_t unsigned_leb() {
    std::uint64_t value = 0;
    for (unsigned shift = 0;; shift += 7) {
      const std::uint8_t next = byte();
      if (shift < 64) value |= std::uint64_t{next & 0x7Fu} << shift;
      if (next < 0x80) return value;
    }
  }

  std::int64_t signed_leb() {
    std::uint64_t value = 0;
    for (unsigned shift = 0;;) {
      const std::uint8_t next = byte();
      if (shift < 64) value |= std::uint64_t{next & 0x7Fu} << shift;
      shift += 7;
      if (next >= 0x80) continue;
      if (shift < 64 && (next & 0x40) != 0) value |= ~std::uint64_t{0} << shift;
      return static_cast<std::int64_t>(value);
    }
  }

  std::string_view text() {
    const auto start = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    const auto size = static_cast<std::size_t>(std::find(start, bytes.end(), 0) - start);
    const auto* const first = reinterpret_cast<const char*>(bytes.data()) + at;
    skip(size + 1);
    return {first, size};
  }

  DwarfReader part(std::uint64_t size) {
    const std::size_t start = at;
    skip(size);
    return {bytes.subspan(start, static_cast<std::size_t>(size)), section};
  }

  // The length that begins a unit; `offset_size` becomes that of its offsets.
  std::uint64_t unit_length(std::size_t* offset_size) {
    constexpr std::uint32_t kLength64 = 0xFFFFFFFF;
    const std::uint64_t length = fixed(4);
    *offset_size = length == kLength64 ? 8 : 4;
    return length == kLength64 ? fixed(8) : length;
  }
};

}  // namespace finisher
