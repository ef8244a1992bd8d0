#include "platform/byte_block.h"
#include "process/raising.h"
#include "services/compression_parts.h"
#include "storage/heap.h"

namespace tarn {
namespace compression {
namespace {

constexpr std::uint64_t kMostBytes = 0x7FFFFFFF;

using Unaligned64 [[gnu::aligned(1), gnu::may_alias]] = std::uint64_t;

// The meaning of the seven bits after an offset.
struct LengthCode {
  std::uint8_t length;
  std::uint8_t bits;  // of the whole match
};

struct LengthCodes {
  LengthCode row[128];
};

constexpr LengthCodes kLengthCodes = [] {
  LengthCodes codes{};
  for (unsigned bits = 0; bits < 128; ++bits) {
    const unsigned field = bits >> 2;
    const LengthCode forms[] = {
        {2, 14},
        {3, 14},
        {static_cast<std::uint8_t>(4 + field % 8), 17},
        {static_cast<std::uint8_t>(12 + field), 19},
    };
    codes.row[bits] = forms[bits & 3];
  }
  return codes;
}();

void advance(const std::uint8_t*& input, std::int32_t& bit, std::int32_t count) {
  bit += count;
  input += bit >> 3;
  bit &= 7;
}

// Bytes that have been written before they are read again make a pattern: the
// order matters as soon as the two places are closer than a step.
void copy_match(std::uint8_t* to, std::int64_t distance, std::int64_t length, std::int64_t room) {
  constexpr std::int64_t kStep = 16;
  constexpr std::int64_t kWholeSteps = (kLongestMatch + kStep - 1) / kStep * kStep;
  const std::uint8_t* from = to - distance;
  if (distance >= kStep && room >= kWholeSteps) {
    for (std::int64_t i = 0; i < length; i += kStep) __builtin_memcpy(to + i, from + i, kStep);
    return;
  }
  for (std::int64_t i = 0; i < length; ++i) to[i] = from[i];
}

}  // namespace

bool expand(Expansion& expansion) {
  const std::uint8_t* input = expansion.input;
  const std::uint8_t* const input_end = expansion.input_end;
  std::int32_t bit = expansion.bit;
  bool literals = expansion.literals;
  std::uint8_t* output = expansion.output;
  std::uint8_t* const output_end = expansion.output_end;
  bool ended = true;

  while (input < input_end) {
    // At least the longest element, with zeros for what is after the end.
    std::uint64_t bits = 0;
    std::int64_t left = input_end - input;
    if (left >= 8) {
      bits = *reinterpret_cast<const Unaligned64*>(input);
    } else {
      for (std::int64_t i = 0; i < left; ++i) bits |= std::uint64_t{input[i]} << (8 * i);
    }
    bits >>= bit;
    left = left * 8 - bit;

    if (literals) {
      if ((bits & 1) == 0) {
        literals = false;
        advance(input, bit, 1);
        continue;
      }
      if (left < 9) break;
      if (output == output_end) {
        ended = false;
        break;
      }
      *output++ = static_cast<std::uint8_t>(bits >> 1);
      advance(input, bit, 9);
    } else if ((bits & 31) == kLiteralMark) {
      if (left < 13) break;
      if (output == output_end) {
        ended = false;
        break;
      }
      *output++ = static_cast<std::uint8_t>(bits >> 5);
      literals = true;
      advance(input, bit, 13);
    } else {
      const auto offset = static_cast<std::int64_t>((bits & 31) << 7 | (bits >> 5 & 127));
      const LengthCode code = kLengthCodes.row[bits >> kOffsetBits & 127];
      if (offset == 0 || left < code.bits) break;
      if (output_end - output < code.length) {
        ended = false;
        break;
      }
      copy_match(output, kCompressionWindow - offset, code.length, output_end - output);
      output += code.length;
      advance(input, bit, code.bits);
    }
  }

  expansion = {input, input_end, bit, literals, output, output_end};
  return ended;
}

}  // namespace compression

using namespace compression;

std::uint32_t get_bits(const std::uint8_t** input, std::int32_t* bit, std::int32_t count) {
  std::uint32_t bits = 0;
  for (std::int32_t i = 0; i * 8 < *bit + count; ++i) bits |= std::uint32_t{(*input)[i]} << (8 * i);
  bits = bits >> *bit & ((1U << count) - 1);
  advance(*input, *bit, count);
  return bits;
}

void* __tarn_decompress(const void* block, std::int32_t size, std::int32_t* length) {
  std::uint64_t room = kDecoderBuffer;
  auto* buffer = static_cast<std::uint8_t*>(malloc(room));
  if (!buffer) __RuntimeError(TARN_ERROR_HEAP_EXHAUSTED);
  const auto* const input = static_cast<const std::uint8_t*>(block);
  if (size < 1 || *input != kCompressionVersion) {
    free(buffer);
    return nullptr;
  }
  fill_bytes(buffer, kCompressionFill, kCompressionWindow);
  Expansion expansion{input + 1,    input + size, 0, false, buffer + kCompressionWindow,
                      buffer + room};
  while (!expand(expansion)) {
    constexpr std::uint64_t kMostRoom = kCompressionWindow + kMostBytes;
    const auto used = static_cast<std::uint64_t>(expansion.output - buffer);
    const std::uint64_t more = room * 2 < kMostRoom ? room * 2 : kMostRoom;
    auto* const larger =
        room < kMostRoom ? static_cast<std::uint8_t*>(realloc(buffer, more)) : nullptr;
    if (!larger) {
      free(buffer);
      return nullptr;
    }
    buffer = larger;
    room = more;
    expansion.output = buffer + used;
    expansion.output_end = buffer + room;
  }
  const auto bytes = static_cast<std::uint64_t>(expansion.output - buffer) - kCompressionWindow;
  *length = static_cast<std::int32_t>(bytes);
  // Down to the start of a block of its own size. A block of no bytes is one too.
  void* const result = malloc(bytes ? bytes : 1);
  copy_bytes(result ? result : buffer, buffer + kCompressionWindow, bytes);
  if (!result) return buffer;
  free(buffer);
  return result;
}

}  // namespace tarn
