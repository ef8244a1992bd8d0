#include "services/compression.h"

#include "platform/byte_block.h"
#include "process/processor.h"
#include "services/compression_parts.h"
#include "services/compression_search.h"
#include "storage/heap.h"
#include "storage/secondary_stack.h"
#include "streams/file_stream.h"
#include "strings/c_string.h"

namespace tarn {
namespace compression {
namespace {

constexpr std::int64_t kMostBytes = 0x7FFFFFFF;
constexpr std::int64_t kHeader = 1;

// The size of a buffer for the compressed form of `size` bytes. The worst is a literal by
// itself and a match of two bytes in turn: 28 bits for three bytes.
std::uint64_t room_for(std::int32_t size) {
  return static_cast<std::uint64_t>((static_cast<double>(size) + 1000) * 1.2);
}

struct Sse2 {
  using Vector [[gnu::vector_size(16)]] = std::uint64_t;
  using Halves [[gnu::vector_size(16)]] = std::int32_t;
  using Signs [[gnu::vector_size(16)]] = double;

  [[gnu::always_inline]] static Vector first_word(std::uint64_t mask) {
    return Vector{mask, ~std::uint64_t{0}};
  }
  // Comparing words of 64 bits is not in SSE2: both halves are 0.
  [[gnu::always_inline]] static std::uint64_t words_in_use(Vector vector) {
    Halves empty = reinterpret_cast<Halves>(vector) == Halves{};
    empty &= __builtin_shufflevector(empty, empty, 1, 0, 3, 2);
    return static_cast<std::uint32_t>(__builtin_ia32_movmskpd(reinterpret_cast<Signs>(empty))) ^ 3U;
  }
};

// An index costs as much as the plain scan of so many bytes.
constexpr std::int32_t kWorthAnIndex = 128;

// The plain scan at every position.
std::uint8_t* encode_plainly(const std::uint8_t* data, const std::uint8_t* end,
                             std::uint8_t* output) {
  BitWriter writer{output};
  bool literals = false;
  for (const std::uint8_t* position = data; position < end;) {
    const std::int64_t left = end - position;
    const Match match = scan_window(position, position - kCompressionWindow,
                                    left < kLongestMatch ? left : kLongestMatch);
    position = writer.put_token(position, match, literals);
  }
  return writer.finish(literals);
}

// The bytes of an open file. Null if they cannot be read, or are too many.
std::uint8_t* read_behind_window(FILE* file, std::int32_t* size) {
  std::uint64_t bytes = 0;
  if (fseek(file, 0, 2) != 0) return nullptr;
  fgetpos(file, &bytes);
  rewind(file);
  if (bytes > kMostBytes) return nullptr;
  auto* const block = static_cast<std::uint8_t*>(malloc(kCompressionWindow + bytes));
  if (!block) return nullptr;
  if (fread(block + kCompressionWindow, 1, bytes, file) != bytes) {
    free(block);
    return nullptr;
  }
  *size = static_cast<std::int32_t>(bytes);
  return block;
}

}  // namespace

std::uint8_t* encode_sse2(Index* index, const std::uint8_t* data, const std::uint8_t* end,
                          std::uint8_t* output) {
  return Encoder<Sse2>(*index).run(data, end, output);
}

void* compress_by(Encode encode, void* block, std::int32_t size, std::int32_t* length) {
  if (size < 0) return nullptr;
  auto* const output = static_cast<std::uint8_t*>(realloc(nullptr, room_for(size)));
  if (!output) return nullptr;
  auto* const data = static_cast<std::uint8_t*>(block) + kCompressionWindow;
  fill_bytes(block, kCompressionFill, kCompressionWindow);
  *output = kCompressionVersion;
  auto* const index =
      size < kWorthAnIndex ? nullptr : static_cast<Index*>(calloc(1, sizeof(Index)));
  std::uint8_t* const end = index ? encode(index, data, data + size, output + kHeader)
                                  : encode_plainly(data, data + size, output + kHeader);
  free(index);
  const std::int64_t written = end - output;
  if (written > kMostBytes) {
    free(output);
    return nullptr;
  }
  *length = static_cast<std::int32_t>(written);
  void* const shrunk = realloc(output, static_cast<std::uint64_t>(written));
  return shrunk ? shrunk : output;
}

Match scan_window(const std::uint8_t* position, const std::uint8_t* start, std::int64_t limit) {
  Match best{0, kShortestMatch - 1};
  if (limit < kShortestMatch) return best;
  const auto pair = load<std::uint16_t>(position);
  for (const std::uint8_t* candidate = start + 1; candidate <= position - 2; ++candidate) {
    if (load<std::uint16_t>(candidate) != pair) continue;
    // Up to `position`, but one byte at least after the first two.
    const std::int64_t reach = position - candidate < 3 ? 3 : position - candidate;
    const std::int64_t length = common_length(candidate, position, reach < limit ? reach : limit);
    if (length <= best.length) continue;
    best = {candidate - start, length};
    if (length > kGoodMatch) break;
  }
  return best;
}

}  // namespace compression

using namespace compression;

void* __tarn_compress(const char* path, std::int32_t* length) {
  FILE* const file = fopen(path, "rb");
  if (!file) return nullptr;
  std::int32_t size = 0;
  void* const block = read_behind_window(file, &size);
  fclose(file);
  if (!block) return nullptr;
  void* const result = __tarn_compress2(block, size, length);
  free(block);
  return result;
}

void* __tarn_compress1(void* block, std::int32_t size, std::int32_t* length) {
  const std::uint64_t bytes = size < 0 ? 0 : static_cast<std::uint64_t>(size);
  auto* const larger = static_cast<std::uint8_t*>(realloc(block, bytes + kCompressionWindow));
  if (!larger) {
    free(block);
    return nullptr;
  }
  memmove(larger + kCompressionWindow, larger, bytes);
  void* const result = __tarn_compress2(larger, size, length);
  free(larger);
  return result;
}

void* __tarn_compress2(void* block, std::int32_t size, std::int32_t* length) {
  static const Encode encode = has_avx2() ? encode_avx2 : encode_sse2;
  return compress_by(encode, block, size, length);
}

void send_info(std::uint32_t value, std::uint8_t** output, std::int32_t* bit, std::int32_t count) {
  BitWriter writer{*output, *bit, **output & ((1U << *bit) - 1)};
  writer.put(value & ((1U << count) - 1), count);
  *output = writer.output;
  *bit = writer.bit;
}

std::int32_t seek_char(const std::uint8_t* position, const std::uint8_t* start,
                       std::int32_t* length) {
  const std::int64_t reach = position - start;
  if (reach < kShortestMatch + 1) return -1;  // no candidate: `position` itself may be the end
  const Match match = scan_window(position, start, reach);
  if (match.offset == 0) return -1;
  *length = static_cast<std::int32_t>(match.length);
  return static_cast<std::int32_t>(match.offset);
}

}  // namespace tarn
