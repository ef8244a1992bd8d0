#include "failure/decoder/decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "failure/decoder/encodings.h"
#include "failure/decoder/mnemonics.h"
#include "platform/platform.h"

namespace {

namespace platform = tarn::platform;
using Bytes = std::vector<std::uint8_t>;

struct Decoded {
  std::string text;
  std::uint64_t length;
};

Decoded decode(Bytes code) {
  code.resize(16);
  char text[tarn::kInstructionTextSize];
  const auto start = reinterpret_cast<std::uint64_t>(code.data());
  std::uint64_t address = start;
  EXPECT_EQ(tarn::decode_instruction(text, address), text);
  return {text, address - start};
}

TEST(Decoder, ShowsTheTargetOfARelativeJump) {
  const struct {
    Bytes code;
    const char* name;
    std::int64_t distance;
  } cases[] = {{{0xE8, 0x10, 0x00, 0x00, 0x00}, "call", 0x10},
               {{0xE9, 0xF0, 0xFF, 0xFF, 0xFF}, "jmp", -0x10},
               {{0xEB, 0xFE}, "jmp", -2},
               {{0x0F, 0x84, 0x00, 0x01, 0x00, 0x00}, "je", 0x100},
               {{0x0F, 0x87, 0x00, 0x01, 0x00, 0x00}, "ja", 0x100}};
  for (const auto& c : cases) {
    char text[tarn::kInstructionTextSize], expected[64];
    auto address = reinterpret_cast<std::uint64_t>(c.code.data());
    tarn::decode_instruction(text, address);
    std::snprintf(
        expected, sizeof expected, "%s       %llx", c.name,
        static_cast<unsigned long long>(address + static_cast<std::uint64_t>(c.distance)));
    EXPECT_STREQ(text, expected);
  }
}

// Each opcode with some ModRM bytes, by prefix; what is not in the table is shown
// as bytes. An independent decoder agreed with all of them when these were taken.
TEST(Decoder, ShowsEveryOpcodeAsItDid) {
  const struct {
    Bytes prefixes;
    std::uint64_t digest;
  } cases[] = {
      {{}, 0xE63F7BD153677A76},           {{0x66}, 0x2BC27F11BB9DD097},
      {{0xF2}, 0x4C453D40A3DC4AC7},       {{0xF3}, 0xF8F787EB297B8C91},
      {{0x41}, 0xEEF673D8665C5ACD},       {{0x44}, 0x005711AAFB92E561},
      {{0x48}, 0xF89223B01DA1A90D},       {{0x4A}, 0x706854B685DC4BFF},
      {{0x66, 0x4D}, 0x49EB2A65036E885A}, {{0xF2, 0x4D}, 0x923F3CAD35ABA2F2},
      {{0xF3, 0x4D}, 0x44DC18EF44456739}, {{0xF0}, 0x8B4B4BA57702AB14},
  };
  // At one address, which the targets of jumps show.
  auto* const code = static_cast<std::uint8_t*>(platform::VirtualAlloc(
      reinterpret_cast<void*>(0x38000000), 4096, platform::kMemReserve | platform::kMemCommit,
      platform::kPageReadWrite));
  ASSERT_NE(code, nullptr);
  for (const auto& c : cases) {
    std::uint64_t digest = 0xCBF29CE484222325;
    const auto add = [&](std::uint8_t byte) { digest = (digest ^ byte) * 0x100000001B3; };
    for (std::uint32_t n = 0; n < 0x20000; n += 19) {
      std::uint8_t* next = std::copy(c.prefixes.begin(), c.prefixes.end(), code);
      if (n >= 0x10000) *next++ = 0x0F;
      *next++ = static_cast<std::uint8_t>(n >> 8);
      *next++ = static_cast<std::uint8_t>(n);
      // A SIB byte that changes, and an immediate with its sign.
      for (const std::uint32_t byte : {n * 37 + (n >> 8), 0x9Cu, 0x78u, 0x56u, 0x81u, 1u, 2u, 3u}) {
        *next++ = static_cast<std::uint8_t>(byte);
      }
      char text[tarn::kInstructionTextSize];
      auto address = reinterpret_cast<std::uint64_t>(code);
      tarn::decode_instruction(text, address);
      for (const char* p = text; *p; ++p) add(static_cast<std::uint8_t>(*p));
      add(static_cast<std::uint8_t>(address));
    }
    EXPECT_EQ(digest, c.digest) << testing::PrintToString(c.prefixes);
  }
  platform::VirtualFree(code, 0, platform::kMemRelease);
}

TEST(InstructionTable, NumbersItsMnemonics) {
  std::set<std::string> names;
  for (std::uint32_t n = 0; n < tarn::kInstructionCount; ++n) {
    const tarn::InstructionDescriptor& descriptor = tarn::instruction_table[n];
    EXPECT_EQ(descriptor.id, n + 1);
    EXPECT_TRUE(names.insert(descriptor.mnemonic).second) << descriptor.mnemonic;
  }
  const struct {
    std::uint32_t id;
    const char* name;
  } samples[] = {{1, "ADD"}, {26, "CDQ"}, {31, "PUSHF"}, {100, "CPUID"}, {548, "VTESTPS"}};
  for (const auto& sample : samples) {
    EXPECT_STREQ(tarn::instruction_table[sample.id - 1].mnemonic, sample.name);
  }
}

// Of a row, the bits of code that it takes, without what memory operands add.
int bits_of(const char* pattern) {
  int bits = 0;
  for (const char* p = pattern; *p; ++p) {
    switch (*p) {
      case ' ':
        break;
      case 'I':
      case 'i':
        bits += 8;
        break;
      case 'J':
      case 'j':
        bits += 16;
        break;
      case 'K':
      case 'k':
        bits += 32;
        break;
      case 'L':
        bits += 64;
        break;
      default:
        ++bits;
    }
  }
  return bits;
}

TEST(EncodingTable, HasWholeBytesAndWholeOperands) {
  for (const tarn::EncodingRow* row = tarn::encoding_table; row->id != 0; ++row) {
    const std::string pattern = row->pattern;
    if (pattern == "P") continue;
    SCOPED_TRACE(std::string(tarn::instruction_table[row->id - 1].mnemonic) + " " + pattern);
    EXPECT_EQ(pattern.find_first_not_of("01 RrXxMmNCIJKLijkPSdvuYy"), std::string::npos);
    EXPECT_EQ(bits_of(row->pattern) % 8, 0);
    for (const char letter : {'M', 'm'}) {
      const auto count = std::count(pattern.begin(), pattern.end(), letter);
      EXPECT_TRUE(count == 0 || count == 5) << letter;
    }
  }
}

// The plainest code that the row stands for; none if it has a letter that fits
// nothing.
Bytes code_of(const std::string& pattern) {
  if (pattern.find_first_of("PSdvuYy") != std::string::npos) return {};
  std::string bits;
  for (const char letter : pattern) {
    if (letter == ' ') continue;
    bits.append(static_cast<std::size_t>(bits_of(std::string(1, letter).c_str())),
                letter == '1' ? '1' : '0');
  }
  Bytes code;
  for (std::size_t at = 0; at < bits.size(); at += 8) {
    code.push_back(static_cast<std::uint8_t>(std::stoi(bits.substr(at, 8), nullptr, 2)));
  }
  return code;
}

TEST(EncodingTable, HasNoRowHiddenByAnotherPattern) {
  std::map<std::string, std::uint32_t> first_with_pattern;
  for (const tarn::EncodingRow* row = tarn::encoding_table; row->id != 0; ++row) {
    const Bytes code = code_of(row->pattern);
    if (code.empty()) continue;
    const std::uint32_t first = first_with_pattern.try_emplace(row->pattern, row->id).first->second;
    std::string expected = tarn::instruction_table[first - 1].mnemonic;
    for (char& c : expected) c = static_cast<char>(std::tolower(c));
    const Decoded decoded = decode(code);
    EXPECT_EQ(decoded.text.substr(0, decoded.text.find(' ')), expected) << row->pattern;
    EXPECT_EQ(decoded.length, code.size()) << row->pattern;
  }
}

}  // namespace
