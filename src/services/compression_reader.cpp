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

// Of the whole match, in the four forms that the first two of the seven bits tell, a byte each.
constexpr std::uint32_t kMatchBits = 0x13110E0E;

constexpr std::int32_t match_bits(std::uint64_t seven_bits) {
  return static_cast<std::int32_t>(kMatchBits >> (seven_bits << 3 & 24) & 31);
}

constexpr LengthCodes kLengthCodes = [] {
  LengthCodes codes{};
  for (unsigned bits = 0; bits < 128; ++bits) {
    const unsigned field = bits >> 2;
    const unsigned lengths[] = {2, 3, 4 + field % 8, 12 + field};
    codes.row[bits] = {static_cast<std::uint8_t>(lengths[bits & 3]),
                       static_cast<std::uint8_t>(match_bits(bits))};
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
constexpr std::int64_t kStep = 16;
constexpr std::int64_t kWholeSteps = (kLongestMatch + kStep - 1) / kStep * kStep;

void copy_match(std::uint8_t* to, std::int64_t distance, std::int64_t length) {
  const std::uint8_t* const from = to - distance;
  for (std::int64_t i = 0; i < length; ++i) to[i] = from[i];
}

// The same where there is room for whole steps.
[[gnu::always_inline]] inline void copy_match_in_steps(std::uint8_t* to, std::int64_t distance,
                                                       std::int64_t length) {
  const std::uint8_t* const from = to - distance;
  if (distance < kStep) [[unlikely]] {
    copy_match(to, distance, length);
    return;
  }
  __builtin_memcpy(to, from, kStep);
  for (std::int64_t i = kStep; i < length; i += kStep) __builtin_memcpy(to + i, from + i, kStep);
}

// ---- Where neither the end of the stream nor that of the room is near ----------------

// The bits of the stream from a place on, in one register, which is filled before each
// element: at least kFilled.
struct BitRegister {
  static constexpr std::int32_t kFilled = 56;
  const std::uint8_t* input;  // of the bits after the valid ones
  std::uint64_t bits;
  std::int32_t valid;

  BitRegister(const std::uint8_t* from, std::int32_t bit)
      : input(from + 7),
        bits(*reinterpret_cast<const Unaligned64*>(from) >> bit),
        valid(56 - bit) {}

  void fill() {
    bits |= *reinterpret_cast<const Unaligned64*>(input) << valid;
    input += (63 - valid) >> 3;
    valid |= kFilled;
  }
  void take(std::int32_t count) {
    bits >>= count;
    valid -= count;
  }
  // Where the bits begin.
  void place(const std::uint8_t** from, std::int32_t* bit) const {
    *from = input - (valid + 7) / 8;
    *bit = -valid & 7;
  }
};

constexpr std::int64_t kInputAtOnce = 16;  // that an element reads at most
constexpr std::int32_t kNextLiteral = 9;   // bits, with the 1 before it
constexpr std::int32_t kFirstLiteral = 13;

// The literals of an open run, up to kMost of them, all written before it is known how many
// there are. False: the run has ended.
template <std::int32_t kMost>
[[gnu::always_inline]] inline bool take_literals(BitRegister& stream, std::uint8_t*& output) {
  static_assert(kMost * kNextLiteral < BitRegister::kFilled);
  constexpr std::uint64_t kMarks = [] {
    std::uint64_t marks = 0;
    for (std::int32_t i = 0; i < kMost; ++i) marks |= std::uint64_t{1} << i * kNextLiteral;
    return marks;
  }();
  const std::uint64_t ends = (~stream.bits & kMarks) | std::uint64_t{1} << kMost * kNextLiteral;
  const std::int32_t bits = __builtin_ctzll(ends);
  for (std::int32_t i = 0; i < kMost; ++i) {
    output[i] = static_cast<std::uint8_t>(stream.bits >> (i * kNextLiteral + 1));
  }
  output += bits * 57 >> 9;  // a ninth
  const bool open = bits == kMost * kNextLiteral;
  stream.take(bits + !open);
  return open;
}

// Elements as long as their bits and their room are certainly there. Result: whether a
// literal run is open.
bool expand_quickly(Expansion& expansion) {
  bool literals = expansion.literals;
  if (expansion.input_end - expansion.input < kInputAtOnce) return literals;
  BitRegister stream(expansion.input, expansion.bit);
  std::uint8_t* output = expansion.output;
  const std::uint8_t* const last_input = expansion.input_end - 8;
  const std::uint8_t* const last_output = expansion.output_end - kWholeSteps;
  while (stream.input <= last_input && output <= last_output) {
    stream.fill();
    if (literals) {
      literals = take_literals<6>(stream, output);
    } else if ((stream.bits & 31) == kLiteralMark) {
      *output++ = static_cast<std::uint8_t>(stream.bits >> 5);
      stream.take(kFirstLiteral);
      literals = take_literals<4>(stream, output);
    } else {
      const auto offset =
          static_cast<std::int64_t>((stream.bits & 31) << 7 | (stream.bits >> 5 & 127));
      if (offset == 0) break;
      const LengthCode code = kLengthCodes.row[stream.bits >> kOffsetBits & 127];
      copy_match_in_steps(output, kCompressionWindow - offset, code.length);
      output += code.length;
      // Not from the table: the next element waits for this number.
      stream.take(match_bits(stream.bits >> kOffsetBits));
    }
  }
  stream.place(&expansion.input, &expansion.bit);
  expansion.output = output;
  return literals;
}

}  // namespace

bool expand(Expansion& expansion) {
  expansion.literals = expand_quickly(expansion);
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
      copy_match(output, kCompressionWindow - offset, code.length);
      output += code.length;
      advance(input, bit, code.bits);
    }
  }

  expansion = {input, input_end, bit, literals, output, output_end};
  return ended;
}

}  // namespace compression

using namespace compression;

namespace {

// The most that a stream of so many bytes can hold, with the window.
std::uint64_t most_room(std::int32_t size) {
  const std::uint64_t matches = static_cast<std::uint64_t>(size) * 8 / 19 + 1;
  return kCompressionWindow + matches * kLongestMatch;
}

// In a buffer of `room` bytes, which grows if necessary. Null if it cannot.
void* decompress_into(std::uint8_t* buffer, std::uint64_t room, const std::uint8_t* input,
                      std::int32_t size, std::int32_t* length) {
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

}  // namespace

std::uint32_t get_bits(const std::uint8_t** input, std::int32_t* bit, std::int32_t count) {
  std::uint32_t bits = 0;
  for (std::int32_t i = 0; i * 8 < *bit + count; ++i) bits |= std::uint32_t{(*input)[i]} << (8 * i);
  bits = bits >> *bit & ((1U << count) - 1);
  advance(*input, *bit, count);
  return bits;
}

void* __tarn_decompress(const void* block, std::int32_t size, std::int32_t* length) {
  auto* const storage = static_cast<std::uint8_t*>(malloc(kDecoderBuffer));
  if (!storage) __RuntimeError(TARN_ERROR_HEAP_EXHAUSTED);
  const auto* const input = static_cast<const std::uint8_t*>(block);
  if (size < 1 || *input != kCompressionVersion) {
    free(storage);
    return nullptr;
  }
  // So large a block is new memory each time, and the system's work for it longer than the
  // reading of a short stream.
  const std::uint64_t room = most_room(size);
  auto* const buffer = room < kDecoderBuffer ? static_cast<std::uint8_t*>(malloc(room)) : nullptr;
  if (!buffer) return decompress_into(storage, kDecoderBuffer, input, size, length);
  void* const result = decompress_into(buffer, room, input, size, length);
  free(storage);
  return result;
}

}  // namespace tarn
