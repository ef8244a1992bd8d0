#include "services/compression.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "process/processor.h"
#include "services/compression_parts.h"
#include "storage/heap.h"
#include "tests/support/raised.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// ---- Data ---------------------------------------------------------------------

std::mt19937 random_numbers(7);
unsigned random_number() { return static_cast<unsigned>(random_numbers()); }

Bytes of_letters(std::size_t size, unsigned letters) {
  Bytes data(size);
  for (auto& byte : data) byte = static_cast<std::uint8_t>('a' + random_number() % letters);
  return data;
}

Bytes random_bytes(std::size_t size) {
  Bytes data(size);
  for (auto& byte : data) byte = static_cast<std::uint8_t>(random_number());
  return data;
}

// Words of a vocabulary, short ones more often, in lines.
Bytes text(std::size_t size) {
  std::vector<std::string> words;
  for (int i = 0; i < 900; ++i) {
    std::string word;
    for (unsigned n = 2 + random_number() % 9; n; --n) {
      word += "etaoinshrdlucmfwypvbgk"[random_number() % 22 * (random_number() % 22) / 22];
    }
    words.push_back(word);
  }
  Bytes data;
  while (data.size() < size) {
    const std::string& word = words[random_number() % 900 * (random_number() % 900) / 900];
    data.insert(data.end(), word.begin(), word.end());
    data.push_back(random_number() % 11 ? ' ' : '\n');
  }
  data.resize(size);
  return data;
}

Bytes repeated(const Bytes& part, std::size_t size) {
  Bytes data;
  while (data.size() < size) data.insert(data.end(), part.begin(), part.end());
  data.resize(size);
  return data;
}

// ---- The library ----------------------------------------------------------------

using Encode = tarn::compression::Encode;

std::vector<Encode> encoders() {
  std::vector<Encode> all{tarn::compression::encode_sse2};
  if (tarn::has_avx2()) all.push_back(tarn::compression::encode_avx2);
  return all;
}

Bytes taken(void* block, std::int32_t length) {
  if (!block) return {};
  const auto* const bytes = static_cast<const std::uint8_t*>(block);
  Bytes result(bytes, bytes + length);
  tarn::free(block);
  return result;
}

// The block has exactly the bytes that it must have.
Bytes compressed(Encode encode, const Bytes& data) {
  const auto block = std::make_unique<std::uint8_t[]>(0xF80 + data.size());
  std::copy(data.begin(), data.end(), block.get() + 0xF80);
  std::int32_t length = -1;
  void* const result = tarn::compression::compress_by(
      encode, block.get(), static_cast<std::int32_t>(data.size()), &length);
  return taken(result, length);
}

Bytes expanded(const Bytes& stream) {
  const auto block = std::make_unique<std::uint8_t[]>(stream.size());
  std::copy(stream.begin(), stream.end(), block.get());
  std::int32_t length = -1;
  void* const result =
      tarn::__tarn_decompress(block.get(), static_cast<std::int32_t>(stream.size()), &length);
  EXPECT_NE(result, nullptr);
  return taken(result, length);
}

// By the reader's inner part, which needs no large buffer.
Bytes expanded_within(const Bytes& stream, std::size_t most) {
  Bytes buffer(0xF80 + most, ' ');
  std::uint8_t* const output = buffer.data() + 0xF80;
  tarn::compression::Expansion expansion{
      stream.data() + 1, stream.data() + stream.size(), 0, false, output, output + most};
  EXPECT_TRUE(tarn::compression::expand(expansion));
  return Bytes(output, expansion.output);
}

class Digest {
 public:
  void add(const Bytes& bytes) {
    for (const std::uint8_t byte : bytes) value_ = (value_ ^ byte) * 0x100000001B3;
  }
  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 0xCBF29CE484222325;
};

// What a plain scan, bit by bit, wrote for the same data.
TEST(Compression, EveryEncoderWritesWhatThePlainScanWrote) {
  const struct {
    const char* name;
    Bytes data;
    std::uint64_t digest;
  } cases[] = {
      {"text", text(200'000), 0xA485A9207E060D07},
      {"random", random_bytes(40'000), 0x2BBA5C312B1FB3C8},
      {"two letters", of_letters(40'000, 2), 0x1A28724407A7F80B},
      {"twenty letters", of_letters(60'000, 20), 0x3D54AE7BD517D027},
      {"zeros", Bytes(500'000), 0xD91CF5A3718D5C80},
      {"a period of the window", repeated(random_bytes(0xF80 - 1), 200'000), 0xBC9E476715802D3E},
      {"a period beyond the window", repeated(random_bytes(0xF80), 40'000), 0x01C9AA22BA9E8F3F},
  };
  for (const auto& each : cases) {
    for (const Encode encode : encoders()) {
      const Bytes stream = compressed(encode, each.data);
      Digest digest;
      digest.add(stream);
      EXPECT_EQ(digest.value(), each.digest) << each.name;
      EXPECT_TRUE(expanded(stream) == each.data) << each.name;
    }
  }
}

TEST(Compression, EverySmallSizeAndEnd) {
  for (const Encode encode : encoders()) {
    random_numbers.seed(7);
    Digest digest;
    for (std::size_t size = 0; size < 400; size += size < 150 ? 1 : 9) {
      for (const unsigned letters : {1U, 2U, 5U, 26U}) {
        Bytes data = of_letters(size, letters);
        if (size % 3 == 0 && size > 50) std::copy(data.begin(), data.begin() + 25, data.end() - 25);
        const Bytes stream = compressed(encode, data);
        digest.add(stream);
        ASSERT_EQ(expanded_within(stream, size), data) << size;
      }
    }
    EXPECT_EQ(digest.value(), 0x208177A4EB6DDD48);
  }
}

TEST(Compression, DataBeyondTheFirstBufferAreRead) {
  constexpr int kMatches = 1'200'000;  // of 43 bytes, all from the window's oldest end
  Bytes stream(kMatches * 19 / 8 + 16);
  std::uint8_t* output = stream.data();
  std::int32_t bit = 0;
  tarn::send_info(1, &output, &bit, 8);
  tarn::send_info(31 | 'x' << 5, &output, &bit, 14);
  for (int i = 0; i < kMatches; ++i) {
    tarn::send_info(1 << 5 | 3 << 12 | 31 << 14, &output, &bit, 19);
  }
  tarn::send_info(0, &output, &bit, 12);
  std::int32_t length = 0;
  auto* const data = static_cast<std::uint8_t*>(
      tarn::__tarn_decompress(stream.data(), static_cast<std::int32_t>(stream.size()), &length));
  ASSERT_NE(data, nullptr);
  ASSERT_EQ(length, 1 + kMatches * 43);
  EXPECT_GT(static_cast<std::uint64_t>(length), tarn::kDecoderBuffer);
  // Each match takes what stands 3,967 bytes back.
  std::size_t wrong = 0;
  for (std::int32_t i = 0; i < length; ++i) wrong += data[i] != (i % (0xF80 - 1) == 0 ? 'x' : ' ');
  EXPECT_EQ(wrong, 0U);
  tarn::free(data);
}

}  // namespace
