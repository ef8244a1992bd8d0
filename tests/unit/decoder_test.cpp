#include "failure/decoder/decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "failure/decoder/encodings.h"
#include "failure/decoder/mnemonics.h"
#include "platform/platform.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t kPage = 4096;

// One readable page with an unreadable one behind it: code can end where the
// memory does.
class CodePage {
 public:
  CodePage() {
    begin_ = static_cast<std::uint8_t*>(tarn::platform::VirtualAlloc(
        nullptr, 2 * kPage, tarn::platform::kMemReserve, tarn::platform::kPageReadWrite));
    tarn::platform::VirtualAlloc(begin_, kPage, tarn::platform::kMemCommit,
                                 tarn::platform::kPageReadWrite);
  }
  ~CodePage() { tarn::platform::VirtualFree(begin_, 0, tarn::platform::kMemRelease); }
  CodePage(const CodePage&) = delete;
  CodePage& operator=(const CodePage&) = delete;

  // Puts the first `count` bytes at the end of the page.
  std::uint64_t place(const Bytes& code, std::size_t count) {
    if (count > 0) std::memcpy(begin_ + kPage - count, code.data(), count);
    return reinterpret_cast<std::uint64_t>(begin_ + kPage - count);
  }

 private:
  std::uint8_t* begin_;
};

struct Decoded {
  std::string text;
  std::uint64_t length;
  std::int64_t immediate;
};

bool operator==(const Decoded& a, const Decoded& b) {
  return a.text == b.text && a.length == b.length && a.immediate == b.immediate;
}

Decoded decode_at(std::uint64_t start) {
  char text[tarn::kInstructionTextSize + 1];
  std::memset(text, '#', sizeof text);
  std::uint64_t address = start;
  EXPECT_EQ(tarn::decode_remote_instruction(tarn::platform::GetCurrentProcess(), text, address),
            text);
  const Decoded remote{text, address - start, tarn::get_idecode_immediate_value()};
  address = start;
  EXPECT_EQ(tarn::decode_instruction(text, address), text);
  const Decoded direct{text, address - start, tarn::get_idecode_immediate_value()};
  EXPECT_TRUE(remote == direct) << remote.text << " and " << direct.text;
  EXPECT_EQ(text[tarn::kInstructionTextSize], '#');
  return direct;
}

Decoded decode(Bytes code) {
  code.resize(16);
  return decode_at(reinterpret_cast<std::uint64_t>(code.data()));
}

std::string shown_as_bytes(Bytes code) {
  code.resize(5);
  char text[32];
  std::snprintf(text, sizeof text, "db     %02x,%02x,%02x,%02x,%02x", code[0], code[1], code[2],
                code[3], code[4]);
  return text;
}

struct Case {
  Bytes code;
  const char* text;
  std::int64_t immediate = 0;
};

const Case kKnown[] = {
    {{0x48, 0x83, 0xEC, 0x38}, "sub_q       RSP,38", 0x38},
    {{0x48, 0x81, 0xEC, 0x08, 0x02, 0x00, 0x00}, "sub_q       RSP,208", 0x208},
    {{0x48, 0x89, 0x9C, 0x24, 0xD0, 0x01, 0x00, 0x00}, "mov_q       [1d0+RSP],RBX"},
    {{0x48, 0x8B, 0x85, 0x58, 0x45, 0x06, 0x00}, "mov_q       RAX,[64558]$"},
    {{0x4A, 0x8B, 0x1C, 0x3D, 0xF8, 0x00, 0x00, 0x00}, "mov_q       RBX,[f8++R15]"},
    {{0xF2, 0x0F, 0x2C, 0xC9}, "cvttsd2si       RCX,XMM1"},
    {{0x48, 0xD1, 0xE0}, "sal_q       RAX,1"},
    {{0x48, 0xD3, 0xE8}, "shr_q       RAX,cl"},
    {{0x48, 0x83, 0xC0, 0xFF}, "add_q       RAX,ffffffffffffffff", -1},
    {{0x83, 0xC0, 0xFF}, "add       RAX,ffffffff", -1},
    {{0xC3}, "ret"},
    {{0xCC}, "int   3"},
    {{0x8B, 0x45, 0xF8}, "mov       RAX,[fffffff8]$"},
    // The prologue of a large frame.
    {{0xC7, 0xC0, 0x40, 0x9C, 0x00, 0x00}, "mov       RAX,9c40", 0x9C40},
    {{0x48, 0xC7, 0xC0, 0x40, 0x9C, 0x00, 0x00}, "mov_q       RAX,9c40", 0x9C40},
    {{0x48, 0xB8, 1, 2, 3, 4, 5, 6, 7, 0x88},
     "mov_q       RAX,8807060504030201",
     static_cast<std::int64_t>(0x8807060504030201)},
    // Widths, and the registers that the REX byte extends.
    {{0x03, 0xC1}, "add       RAX,RCX"},
    {{0x45, 0x03, 0xC1}, "add       R8,R9"},
    {{0x66, 0x45, 0x03, 0xC1}, "add_h       R8,R9"},
    {{0x4D, 0x01, 0xC1}, "add_q       R9,R8"},
    {{0x40, 0x8A, 0xC6}, "mov_b       RAX,RSI"},
    {{0x66, 0x81, 0xC1, 0xFE, 0xFF}, "add_h       RCX,fffffffe", -2},
    {{0x41, 0x54}, "push       R12"},
    {{0x49, 0x54}, "push_q       R12"},
    {{0xF2, 0x44, 0x0F, 0x58, 0xC1}, "addsd       XMM8,XMM1"},
    {{0xF2, 0x49, 0x0F, 0x2A, 0xC7}, "cvtsq2sd       XMM0,R15"},
    // Memory: base and index, and each mode.
    {{0x47, 0x8B, 0x04, 0x91}, "mov       R8,[R9+4*R10]"},
    {{0x8B, 0x04, 0x25, 0x10, 0x00, 0x00, 0x00}, "mov       RAX,[10]"},
    {{0x8B, 0x04, 0x25, 0x00, 0x00, 0x00, 0x00}, "mov       RAX,[]"},
    {{0x8B, 0x04, 0x0D, 0x00, 0x00, 0x00, 0x00}, "mov       RAX,[+RCX]"},
    {{0x8B, 0x04, 0x24}, "mov       RAX,[RSP]"},
    {{0x42, 0x8B, 0x04, 0x24}, "mov       RAX,[RSP+R12]"},
    {{0x41, 0x8B, 0x45, 0x00}, "mov       RAX,[R13]"},
    {{0x8B, 0x45, 0x00}, "mov       RAX,[]$"},
    {{0x48, 0x8D, 0x44, 0x28, 0x08}, "lea       RAX,[8+RAX]$"},
    {{0x48, 0x8D, 0x05, 0xF0, 0xFF, 0xFF, 0xFF}, "lea       RAX,[fffffff0+RIP]"},
    {{0xC7, 0x44, 0x24, 0x08, 0xFF, 0, 0, 0}, "mov       [8+RSP],ff", 0xFF},
    {{0xF2, 0x0F, 0x11, 0x04, 0x24}, "movsd       [RSP],XMM0"},
    {{0x48, 0x6B, 0xC8, 0x0C}, "imul_q       RCX,RAX,c", 12},
    {{0x66, 0x0F, 0xC6, 0xC1, 0x01}, "shufpd       XMM0,XMM1,1", 1},
    // A shift by a number, and the return whose opcode fits its letters.
    {{0x48, 0xC1, 0xE0, 0x05}, "sal_q       RAX,5", 5},
    {{0xD3, 0x3C, 0x24}, "sar       [RSP],cl"},
    {{0x48, 0xC3}, "ret"},
    {{0xC2, 0x10, 0x00}, "ret       10", 16},
    // Others.
    {{0xFF, 0xD0}, "call       RAX"},
    {{0x48, 0xFF, 0x24, 0xC8}, "jmpi       [RAX+8*RCX]"},
    {{0x0F, 0x94, 0xC0}, "sete       RAX"},
    {{0x48, 0x0F, 0x44, 0xC1}, "cmove_q       RAX,RCX"},
    {{0x49, 0x87, 0xC3}, "xchg_q       RAX,R11"},
    {{0xCD, 0x09}, "int       9", 9},
    {{0xDD, 0x44, 0x24, 0x08}, "dfld       [8+RSP]"},
    {{0xD9, 0xE8}, "fld1"},
    {{0xF3, 0x48, 0xAB}, "rep_stos_q"},
    {{0x99}, "cdq"},
    {{0x48, 0x99}, "cqo"},
    {{0xF3, 0x90}, "pause"},
    {{0xFF, 0xFF}, "dummy"},
};

TEST(Decoder, ShowsKnownInstructions) {
  for (const Case& c : kKnown) {
    SCOPED_TRACE(c.text);
    const Decoded decoded = decode(c.code);
    EXPECT_EQ(decoded.text, c.text);
    EXPECT_EQ(decoded.length, c.code.size());
    EXPECT_EQ(decoded.immediate, c.immediate);
  }
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
  CodePage page;
  for (const auto& c : cases) {
    const std::uint64_t start = page.place(c.code, c.code.size());
    const std::uint64_t target = start + c.code.size() + static_cast<std::uint64_t>(c.distance);
    char expected[64];
    std::snprintf(expected, sizeof expected, "%s       %llx", c.name,
                  static_cast<unsigned long long>(target));
    EXPECT_EQ(decode_at(start).text, expected);
  }
}

TEST(Decoder, ShowsWhatItDoesNotKnowAsBytes) {
  const Bytes cases[] = {
      {0x74, 0x05},                          // short conditional jump
      {0xF0, 0x01, 0x00},                    // lock
      {0xFF, 0x14, 0x24},                    // call through memory
      {0xC5, 0xF9, 0x58, 0xC1},              // VEX
      {0xC4, 0xC1, 0xF5, 0x58, 0xC0},        // VEX
      {0xC4, 0xA1, 0xFE, 0x6F, 0x00},        // VEX
      {0xB8, 0x01, 0x00, 0x00, 0x00},        // 32-bit immediate load
      {0xD9, 0xC0},                          // coprocessor stack
      {0xDD, 0xC0},                          // the same, with the opcode of a load
      {0x48, 0x8D, 0xC0},                    // an address of a register
      {0x02, 0xE0},                          // AH
      {0x0F, 0x94, 0xC4},                    // AH
      {0x64, 0x48, 0x8B, 0x04, 0x25},        // segment
      {0x67, 0x8B, 0x00},                    // address of 32 bits
      {0x66, 0x66, 0x66, 0x66, 0x66, 0xC3},  // idle prefixes
      {0x66, 0xCC},                          // a breakpoint comes first or not at all
  };
  for (const Bytes& code : cases) {
    const Decoded decoded = decode(code);
    EXPECT_EQ(decoded.text, shown_as_bytes(code));
    EXPECT_EQ(decoded.length, 1u);
    EXPECT_EQ(decoded.immediate, 0);
  }
}

TEST(Decoder, ReadsNothingBehindTheEndOfMemory) {
  CodePage page;
  for (const Case& c : kKnown) {
    for (std::size_t count = 1; count <= c.code.size(); ++count) {
      const Decoded decoded = decode_at(page.place(c.code, count));
      if (count == c.code.size()) {
        EXPECT_EQ(decoded.text, c.text);
        continue;
      }
      Bytes cut(c.code.begin(), c.code.begin() + static_cast<std::ptrdiff_t>(count));
      cut.resize(5, 0xF0);
      EXPECT_EQ(decoded.text, shown_as_bytes(cut)) << c.text << " cut to " << count;
      EXPECT_EQ(decoded.length, 1u);
    }
  }
}

TEST(Decoder, ShowsUnreadableCodeAsBytes) {
  CodePage page;
  const std::uint64_t unreadable = page.place({}, 0);
  for (std::uint64_t address : {std::uint64_t{0}, std::uint64_t{1}, unreadable, ~std::uint64_t{0},
                                ~std::uint64_t{0} - 7, std::uint64_t{1} << 63}) {
    const Decoded decoded = decode_at(address);
    EXPECT_EQ(decoded.text, "db     f0,f0,f0,f0,f0");
    EXPECT_EQ(decoded.length, 1u);
  }
}

TEST(Decoder, StaysInBoundsOnRandomBytes) {
  std::mt19937 random(7);
  for (int n = 0; n < 3000; ++n) {
    Bytes code(16);
    for (std::uint8_t& byte : code) byte = static_cast<std::uint8_t>(random());
    const Decoded decoded = decode(code);
    EXPECT_GE(decoded.length, 1u);
    EXPECT_LE(decoded.length, 15u);
    EXPECT_LT(decoded.text.size(), tarn::kInstructionTextSize);
  }
}

TEST(Decoder, ShowsAnAddressInTwoHalves) {
  EXPECT_STREQ(tarn::segment_offset(0x7FF612345678, 0), "7ff6:12345678");
  EXPECT_STREQ(tarn::segment_offset(0x7FF600000abc, 1), "00007ff6:00000abc");
  EXPECT_STREQ(tarn::segment_offset(5, 0), "0:00000005");
  EXPECT_STREQ(tarn::segment_offset(~std::uint64_t{0}, 1), "ffffffff:ffffffff");
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
