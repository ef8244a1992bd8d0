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

// ---- The format again, bit by bit ---------------------------------------------

struct Bits {
  std::vector<bool> bits;
  void put(unsigned value, int count) {
    for (int i = 0; i < count; ++i) bits.push_back((value >> i & 1) != 0);
  }
  Bytes bytes() const {
    Bytes result((bits.size() + 7) / 8);
    for (std::size_t i = 0; i < bits.size(); ++i) {
      if (bits[i]) result[i / 8] |= static_cast<std::uint8_t>(1 << i % 8);
    }
    return result;
  }
};

Bytes plain_compress(const Bytes& data) {
  const std::uint8_t blanks = 0x20;
  Bytes all(0xF80, blanks);
  all.insert(all.end(), data.begin(), data.end());
  Bits out;
  out.put(1, 8);
  bool open = false;
  for (std::size_t p = 0xF80; p < all.size();) {
    const std::size_t start = p - 0xF80;
    std::size_t best = 0, offset = 0;
    if (p + 1 < all.size()) {
      for (std::size_t c = start + 1; c <= p - 2; ++c) {
        if (all[c] != all[p] || all[c + 1] != all[p + 1]) continue;
        std::size_t most = p - (c + 2), length = 2;
        if (most < 1) most = 1;
        while (length - 2 < most && p + length < all.size() && all[c + length] == all[p + length]) {
          ++length;
        }
        if (length <= best) continue;
        best = length;
        offset = c - start;
        if (best > 20) break;
      }
    }
    if (best == 0) {
      if (open) {
        out.put(1, 1);
      } else {
        out.put(31, 5);
      }
      out.put(all[p++], 8);
      open = true;
      continue;
    }
    if (open) out.put(0, 1);
    open = false;
    out.put(static_cast<unsigned>(offset / 128), 5);
    out.put(static_cast<unsigned>(offset % 128), 7);
    const auto length = static_cast<unsigned>(best > 43 ? 43 : best);
    if (length < 4) {
      out.put(length - 2, 2);
    } else if (length < 12) {
      out.put(2, 2);
      out.put(length - 4, 3);
    } else {
      out.put(3, 2);
      out.put(length - 12, 5);
    }
    p += length;
  }
  if (open) out.put(0, 1);
  out.put(0, 12);
  return out.bytes();
}

// ---- Data ---------------------------------------------------------------------

unsigned random_number() {
  static std::mt19937 generator(7);
  return static_cast<unsigned>(generator());
}

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

Bytes of(const char* characters) { return Bytes(characters, characters + std::strlen(characters)); }

TEST(Compression, EveryEncoderWritesWhatThePlainScanWrites) {
  const struct {
    const char* name;
    Bytes data;
  } cases[] = {
      {"text", text(200'000)},
      {"random", random_bytes(40'000)},
      {"two letters", of_letters(40'000, 2)},
      {"four letters", of_letters(60'000, 4)},
      {"twenty letters", of_letters(60'000, 20)},
      {"zeros", Bytes(500'000)},
      {"a period of the window", repeated(random_bytes(0xF80 - 1), 200'000)},
      {"a period beyond the window", repeated(random_bytes(0xF80), 40'000)},
      {"a short period", repeated(of("abcdefg"), 300'000)},
  };
  for (const auto& each : cases) {
    const Bytes wanted = plain_compress(each.data);
    for (const Encode encode : encoders()) {
      EXPECT_TRUE(compressed(encode, each.data) == wanted) << each.name;
    }
    EXPECT_TRUE(expanded(wanted) == each.data) << each.name;
  }
}

TEST(Compression, EverySmallSizeAndEnd) {
  for (std::size_t size = 0; size < 400; size += size < 150 ? 1 : 9) {
    for (const unsigned letters : {1U, 2U, 5U, 26U}) {
      Bytes data = of_letters(size, letters);
      if (size % 3 == 0 && size > 50) std::copy(data.begin(), data.begin() + 25, data.end() - 25);
      const Bytes wanted = plain_compress(data);
      for (const Encode encode : encoders()) ASSERT_EQ(compressed(encode, data), wanted) << size;
      ASSERT_EQ(expanded_within(wanted, size), data) << size;
    }
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
