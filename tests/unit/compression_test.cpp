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

Bytes plain_expand(const Bytes& stream) {
  const std::uint8_t blanks = 0x20;
  Bytes out(0xF80, blanks);
  std::size_t at = 8;
  bool cut = false;
  const auto get = [&](int count) {
    unsigned value = 0;
    for (int i = 0; i < count; ++i, ++at) {
      if (at >= stream.size() * 8) {
        cut = true;
      } else {
        value |= static_cast<unsigned>(stream[at / 8] >> at % 8 & 1) << i;
      }
    }
    return value;
  };
  bool open = false;
  while (at / 8 < stream.size()) {
    if (open) {
      if (get(1) == 0) {
        open = false;
        continue;
      }
      const unsigned byte = get(8);
      if (cut) break;
      out.push_back(static_cast<std::uint8_t>(byte));
      continue;
    }
    const unsigned high = get(5);
    if (high == 31) {
      const unsigned byte = get(8);
      if (cut) break;
      out.push_back(static_cast<std::uint8_t>(byte));
      open = true;
      continue;
    }
    const unsigned offset = high * 128 + get(7);
    if (offset == 0) break;
    const unsigned code = get(2);
    const unsigned length = code < 2 ? 2 + code : code == 2 ? 4 + get(3) : 12 + get(5);
    if (cut) break;
    for (unsigned i = 0; i < length; ++i) out.push_back(out[out.size() - 0xF80 + offset]);
  }
  out.erase(out.begin(), out.begin() + 0xF80);
  return out;
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

// Records as a program has them: counters, addresses, zeros, a few doubles.
Bytes records(std::size_t size) {
  Bytes data;
  for (std::uint32_t i = 0; data.size() < size; ++i) {
    struct {
      std::uint32_t number;
      std::uint16_t kind, flags;
      std::uint64_t address;
      double value;
      char name[16];
    } record{i,           static_cast<std::uint16_t>(random_number() % 5),
             0x8001,      0x00007FF612340000U + i * 48 % 4096,
             i % 7 / 3.0, "value"};
    data.insert(data.end(), reinterpret_cast<std::uint8_t*>(&record),
                reinterpret_cast<std::uint8_t*>(&record + 1));
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

TEST(Compression, KnownStreams) {
  const struct {
    const char* data;
    Bytes stream;
  } cases[] = {
      {"", {0x01, 0x00, 0x00}},
      {"abc", {0x01, 0x3F, 0xAC, 0xD8, 0x31, 0x00, 0x00}},
      {"abcabcabcabc", {0x01, 0x3F, 0xAC, 0xD8, 0x31, 0xBE, 0x9F, 0xD7, 0x2B, 0x00, 0x00}},
      // Offset 1, length 3: 5 bits 0, 7 bits 1, 2 bits 1; then 12 bits 0.
      {"   ", {0x01, 0x20, 0x10, 0x00, 0x00}},
  };
  for (const auto& each : cases) {
    std::int32_t length = -1;
    const std::size_t size = std::strlen(each.data);
    void* const block = tarn::malloc(size);
    std::memcpy(block, each.data, size);
    void* const stream = tarn::__tarn_compress1(block, static_cast<std::int32_t>(size), &length);
    EXPECT_EQ(taken(stream, length), each.stream) << each.data;
    EXPECT_EQ(expanded(each.stream), of(each.data)) << each.data;
  }
}

TEST(Compression, EveryEncoderWritesWhatThePlainScanWrites) {
  const struct {
    const char* name;
    Bytes data;
  } cases[] = {
      {"text", text(200'000)},
      {"records", records(150'000)},
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

TEST(Compression, TheReaderTakesAnyBytes) {
  for (int round = 0; round < 300; ++round) {
    Bytes stream = random_bytes(1 + random_number() % 200);
    // Often enough what is a sound stream up to some place.
    if (round % 2) {
      stream = plain_compress(of_letters(random_number() % 200, 1 + random_number() % 9));
      if (round % 4 == 1)
        stream[random_number() % stream.size()] ^=
            static_cast<std::uint8_t>(1 << random_number() % 8);
      if (round % 8 == 3) stream.resize(1 + random_number() % stream.size());
    }
    stream[0] = 1;
    const Bytes wanted = plain_expand(stream);
    ASSERT_EQ(expanded_within(stream, wanted.size()), wanted) << round;
    if (round < 10) {
      ASSERT_EQ(expanded(stream), wanted) << round;
    }
  }
}

TEST(Compression, TheReaderRefusesAndLeavesTheCellAlone) {
  const Bytes streams[] = {{}, {0}, {2, 0, 0}, {0xFF, 0x3F, 0xAC}};
  for (const Bytes& stream : streams) {
    std::int32_t length = 77;
    EXPECT_EQ(
        tarn::__tarn_decompress(stream.data(), static_cast<std::int32_t>(stream.size()), &length),
        nullptr);
    EXPECT_EQ(length, 77);
  }
  std::int32_t length = 77;
  EXPECT_EQ(tarn::__tarn_decompress("\1\0\0", -3, &length), nullptr);
  EXPECT_EQ(tarn::__tarn_compress2(nullptr, -1, &length), nullptr);
  EXPECT_EQ(tarn::__tarn_compress("no such file", &length), nullptr);
  EXPECT_EQ(length, 77);
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

TEST(Compression, ReadingGoesOnWhereRoomRanOut) {
  const Bytes data = text(3000);
  const Bytes stream = plain_compress(data);
  Bytes buffer(0xF80 + data.size(), ' ');
  std::uint8_t* const output = buffer.data() + 0xF80;
  tarn::compression::Expansion expansion{
      stream.data() + 1, stream.data() + stream.size(), 0, false, output, output};
  while (!tarn::compression::expand(expansion)) {
    ASSERT_LT(expansion.output_end, output + data.size());
    expansion.output_end += 1;
  }
  EXPECT_TRUE(std::equal(data.begin(), data.end(), output));
}

TEST(Compression, Pieces) {
  std::uint8_t stream[16];
  std::memset(stream, 0xFF, sizeof stream);
  std::uint8_t* output = stream;
  std::int32_t bit = 0;
  const struct {
    std::uint32_t value;
    std::int32_t count;
  } fields[] = {{5, 3}, {0, 1}, {0xABC, 12}, {1, 7}, {0xFFFFFF, 24}, {0, 24}, {0x5A, 8}, {1, 1}};
  for (const auto& field : fields) tarn::send_info(field.value, &output, &bit, field.count);
  EXPECT_EQ(output, stream + 10);
  EXPECT_EQ(bit, 0);
  const std::uint8_t* input = stream;
  for (const auto& field : fields)
    EXPECT_EQ(tarn::get_bits(&input, &bit, field.count), field.value);
  EXPECT_EQ(input, stream + 10);

  // A write clears what an earlier one wrote ahead of its time.
  output = stream;
  bit = 0;
  tarn::send_info(0xFFF, &output, &bit, 3);
  tarn::send_info(0, &output, &bit, 5);
  EXPECT_EQ(stream[0], 7);

  Bytes block(3 * 0xF80, ' ');
  std::uint8_t* const position = block.data() + 0xF80;
  std::memcpy(position - 30, "needle, needles", 15);
  std::memcpy(position, "needles?", 8);
  std::int32_t length = 77;
  EXPECT_EQ(tarn::seek_char(position, block.data(), &length), 0xF80 - 22);
  EXPECT_EQ(length, 7);
  std::memcpy(position, "QZ", 2);
  length = 77;
  EXPECT_EQ(tarn::seek_char(position, block.data(), &length), -1);
  // More than 20 blanks at the oldest place end the search, without a cap.
  std::memset(position, ' ', 100);
  position[100] = 'x';
  EXPECT_EQ(tarn::seek_char(position, block.data(), &length), 1);
  EXPECT_EQ(length, 100);
  // A window that is too small for a candidate is not read, nor what follows it.
  std::uint8_t* const unreadable = nullptr;
  EXPECT_EQ(tarn::seek_char(unreadable, unreadable, &length), -1);
}

TEST(Compression, OfAFile) {
  tarn::test::initialise();
  const char* const path = "compression_test.data";
  for (const std::size_t size : {0, 1, 50'000}) {
    const Bytes data = text(size);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(size));
    std::int32_t length = -1;
    void* const stream = tarn::__tarn_compress(path, &length);
    ASSERT_NE(stream, nullptr);
    EXPECT_TRUE(taken(stream, length) == plain_compress(data)) << size;
    std::remove(path);
  }
}

}  // namespace
