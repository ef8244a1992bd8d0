// The decoder against an independent one, on real programs and on random bytes.
// From the other decoder's view of an instruction, the whole text is built that
// ours has to give: an instruction is either shown right, or as bytes.
#include <Zydis/Zydis.h>
#include <elf.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "failure/decoder/decoder.h"
#include "failure/decoder/mnemonics.h"

namespace {

// Of that many instructions, one is checked; all of them with
// TARN_DECODER_EVERY_INSTRUCTION set. A step that is odd meets the halves of
// pairs alike.
std::size_t step() {
#if defined(__SANITIZE_ADDRESS__)
  return 17;
#else
  return std::getenv("TARN_DECODER_EVERY_INSTRUCTION") ? 1 : 5;
#endif
}

struct Instruction {
  ZydisDecodedInstruction info;
  ZydisDecodedOperand operands[ZYDIS_MAX_OPERAND_COUNT];
  std::uint64_t address = 0;

  const ZydisDecodedOperand& operand(int i) const { return operands[i]; }
  bool has(ZydisInstructionAttributes attribute) const {
    return (info.attributes & attribute) != 0;
  }
  bool wide() const { return has(ZYDIS_ATTRIB_HAS_REX) && info.raw.rex.W; }
  bool one_byte(int low, int high) const {
    return info.opcode_map == ZYDIS_OPCODE_MAP_DEFAULT && info.opcode >= low && info.opcode <= high;
  }
};

bool is_register(const ZydisDecodedOperand& o) { return o.type == ZYDIS_OPERAND_TYPE_REGISTER; }
bool is_memory(const ZydisDecodedOperand& o) { return o.type == ZYDIS_OPERAND_TYPE_MEMORY; }
ZydisRegisterClass class_of(const ZydisDecodedOperand& o) {
  return is_register(o) ? ZydisRegisterGetClass(o.reg.value) : ZYDIS_REGCLASS_INVALID;
}

// ---- Our name of an instruction -------------------------------------------

bool is_ours(const std::string& name) {
  static const std::set<std::string> names = [] {
    std::set<std::string> all;
    for (const auto& descriptor : tarn::instruction_table) {
      std::string lower;
      for (const char* p = descriptor.mnemonic; *p; ++p)
        lower += static_cast<char>(std::tolower(*p));
      all.insert(lower);
    }
    return all;
  }();
  return names.count(name) != 0;
}

std::string suffix(int bits) {
  return bits == 8 ? "_b" : bits == 16 ? "_h" : bits == 64 ? "_q" : "";
}

// Where several names mean one condition, the first in the list is shown.
std::string with_our_condition(const std::string& name) {
  static const std::map<std::string, std::string> conditions = {
      {"nb", "ae"}, {"nbe", "a"}, {"nl", "ge"}, {"nle", "g"}, {"nz", "ne"}, {"z", "e"}};
  for (const char* stem : {"cmov", "set", "j"}) {
    const std::string::size_type length = std::strlen(stem);
    if (name.compare(0, length, stem) != 0) continue;
    const auto found = conditions.find(name.substr(length));
    if (found != conditions.end()) return stem + found->second;
  }
  return name;
}

std::string string_operation(const Instruction& i, const std::string& name) {
  std::string repeat;
  if (i.has(ZYDIS_ATTRIB_HAS_REPE)) repeat = "repe_";
  if (i.has(ZYDIS_ATTRIB_HAS_REP)) repeat = "rep_";
  if (i.has(ZYDIS_ATTRIB_HAS_REPNE)) repeat = "repne_";
  const char width = name.back();
  return repeat + name.substr(0, name.size() - 1) +
         suffix(width == 'b'   ? 8
                : width == 'w' ? 16
                : width == 'q' ? 64
                               : 32);
}

std::string coprocessor(const Instruction& i, const std::string& name) {
  static const std::map<std::string, std::string> renamed = {
      {"fnstsw", "fstswax"}, {"fninit", "finit"}, {"fwait", "wait"}};
  const auto found = renamed.find(name);
  if (found != renamed.end()) return is_memory(i.operand(0)) ? "" : found->second;
  if (name == "fild" || name == "fistp" || name == "fbstp" || name == "fldcw") return name;
  for (int n = 0; n < 2; ++n) {
    const ZydisDecodedOperand& o = i.operand(n);
    if (!is_memory(o) || o.visibility == ZYDIS_OPERAND_VISIBILITY_HIDDEN) continue;
    if (o.size == 64) return "d" + name;
    if (o.size == 32) return name == "fld" || name == "fstp" ? name : "";
    return o.size == 80 && name == "fld" ? "qfld" : "";
  }
  if (i.info.operand_count_visible == 0) return name;
  std::string with_registers = name;
  if (i.info.operand_count_visible == 1) with_registers += "_0";  // the top, implied
  for (int n = 0; n < i.info.operand_count_visible; ++n) {
    with_registers += '_' + std::to_string(ZydisRegisterGetId(i.operand(n).reg.value));
  }
  return is_ours(with_registers) ? with_registers : "";
}

// Empty if the list has no name for it.
std::string our_name(const Instruction& i) {
  const std::string name = ZydisMnemonicGetString(i.info.mnemonic);
  const int first = i.operand(0).size;
  const int second = i.operand(1).size;
  static const std::map<std::string, std::string> renamed = {
      {"prefetchnta", "prefetchta"}, {"pushfq", "pushf"}, {"cli", "cti"}};
  static const std::set<std::string> string_operations = {
      "lodsb", "lodsw", "lodsd", "lodsq", "movsb", "movsw", "movsq", "cmpsb", "cmpsw", "cmpsd",
      "cmpsq", "stosb", "stosw", "stosd", "stosq", "scasb", "scasw", "scasd", "scasq"};
  std::string ours = with_our_condition(name);
  const auto found = renamed.find(name);
  if (found != renamed.end()) {
    ours = found->second;
  } else if (string_operations.count(name) || (name == "movsd" && i.one_byte(0xA5, 0xA5))) {
    ours = string_operation(i, name);
  } else if (name[0] == 'f') {
    ours = coprocessor(i, name);
  } else if (name == "popfq") {
    ours = i.wide() ? "popfq" : "popf";
  } else if (name == "push" || name == "pop") {
    ours = name + (i.wide() ? "_q" : first == 16 ? "_h" : "");
  } else if (name == "movzx") {
    ours = first == 16 ? "" : "movzx" + suffix(second) + "_q";
  } else if (name == "movsx") {
    ours = first != 64 ? "" : "movsx" + suffix(second) + "_q";
  } else if (name == "movsxd") {
    ours = first != 64 ? "" : "movsx_q";
  } else if (name == "lea") {
    ours = first == 64 ? "lea" : "";
  } else if (name == "jmp") {
    ours = i.operand(0).type == ZYDIS_OPERAND_TYPE_IMMEDIATE ? "jmp" : "jmpi";
  } else if (name.compare(0, 7, "cvtsi2s") == 0) {
    ours = second == 64 ? "cvtsq2s" + name.substr(7) : name;
  } else if (name.compare(0, 3, "cvt") == 0 && name.compare(name.size() - 3, 3, "2si") == 0) {
    ours = first == 64 ? name.substr(0, name.size() - 1) + "q" : name;
  } else if (name == "shl") {
    ours = "sal" + suffix(first);
  } else if (name == "bt" || name == "bts" || is_ours(ours + "_q") || is_ours(ours + "_b")) {
    ours += suffix(first);
  }
  return is_ours(ours) ? ours : "";
}

// ---- The text that ours has to give ---------------------------------------

std::string hex(std::uint64_t value) {
  char text[32];
  std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(value));
  return text;
}

std::string register_text(ZydisRegister r) {
  if (ZydisRegisterGetClass(r) == ZYDIS_REGCLASS_GPR8 ||
      ZydisRegisterGetClass(r) == ZYDIS_REGCLASS_GPR16 ||
      ZydisRegisterGetClass(r) == ZYDIS_REGCLASS_GPR32) {
    r = ZydisRegisterGetLargestEnclosing(ZYDIS_MACHINE_MODE_LONG_64, r);
  }
  std::string text;
  for (const char* p = ZydisRegisterGetString(r); *p; ++p) {
    text += static_cast<char>(std::toupper(*p));
  }
  return text;
}

std::string memory_text(const ZydisDecodedOperandMem& memory) {
  std::string text;
  if (memory.base != ZYDIS_REGISTER_NONE) text += register_text(memory.base);
  if (memory.index != ZYDIS_REGISTER_NONE) {
    text += memory.scale == 1 ? "+" : "+" + std::to_string(memory.scale) + "*";
    text += register_text(memory.index);
  }
  const auto displacement = static_cast<std::uint32_t>(memory.disp.value);
  if (displacement != 0) text = hex(displacement) + (text.empty() ? "" : "+") + text;
  return "[" + text + "]";
}

std::string immediate_text(const Instruction& i, const std::string& name) {
  const int unused = 64 - i.info.raw.imm[0].size;
  const std::int64_t value =
      static_cast<std::int64_t>(i.info.raw.imm[0].value.u << unused) >> unused;
  const bool wide = (name.size() > 2 && name.compare(name.size() - 2, 2, "_q") == 0);
  return hex(wide ? static_cast<std::uint64_t>(value) : static_cast<std::uint32_t>(value));
}

void replace(std::string& text, const char* old_text, const char* new_text) {
  const auto at = text.find(old_text);
  if (at != std::string::npos) text.replace(at, std::strlen(old_text), new_text);
}

std::string operand_text(const Instruction& i, const ZydisDecodedOperand& o,
                         const std::string& name) {
  if (is_memory(o)) return memory_text(o.mem);
  if (is_register(o)) {
    return o.reg.value == ZYDIS_REGISTER_CL && i.one_byte(0xD2, 0xD3) && o.id == 1
               ? "cl"
               : register_text(o.reg.value);
  }
  if (o.imm.is_relative) return hex(i.address + i.info.length + o.imm.value.u);
  return i.info.raw.imm[0].size == 0 ? "1" : immediate_text(i, name);  // a shift by one
}

// Registers that ours does not show: the implied accumulator of a short form,
// coprocessor registers, the field that a NOP leaves unused.
bool is_implied(const Instruction& i, const ZydisDecodedOperand& o) {
  const bool accumulator_form =
      i.one_byte(0xA8, 0xA9) || (i.one_byte(0x00, 0x3F) && (i.info.opcode & 7) >= 4);
  const bool idle_operand = i.info.mnemonic == ZYDIS_MNEMONIC_NOP && o.id == 1;
  return is_register(o) && (accumulator_form || idle_operand || class_of(o) == ZYDIS_REGCLASS_X87);
}

std::string expected_text(const Instruction& i, const std::string& name) {
  std::vector<std::string> shown;
  const bool is_string = i.info.meta.category == ZYDIS_CATEGORY_STRINGOP;
  for (int n = 0; n < i.info.operand_count_visible && !is_string && name != "fstswax"; ++n) {
    const ZydisDecodedOperand& o = i.operand(n);
    if (!is_implied(i, o)) shown.push_back(operand_text(i, o, name));
  }
  if (name.compare(0, 4, "xchg") == 0 && shown.size() == 2 && is_register(i.operand(0))) {
    std::swap(shown[0], shown[1]);
  }
  std::string text = name;
  for (std::size_t n = 0; n < shown.size(); ++n) text += (n == 0 ? "       " : ",") + shown[n];
  replace(text, "+RBP]", "]$");
  replace(text, "RBP]", "]$");
  return text;
}

// ---- What the table leaves out --------------------------------------------

bool has_nameless_register(const Instruction& i) {
  for (int n = 0; n < i.info.operand_count_visible; ++n) {
    const ZydisDecodedOperand& o = i.operand(n);
    switch (class_of(o)) {
      case ZYDIS_REGCLASS_GPR8:
        if (o.reg.value >= ZYDIS_REGISTER_AH && o.reg.value <= ZYDIS_REGISTER_BH) return true;
        break;
      case ZYDIS_REGCLASS_MMX:
      case ZYDIS_REGCLASS_SEGMENT:
      case ZYDIS_REGCLASS_CONTROL:
      case ZYDIS_REGCLASS_DEBUG:
        return true;
      default:
        break;
    }
  }
  return false;
}

bool has_prefix_without_rows(const Instruction& i) {
  for (int n = 0; n < i.info.raw.prefix_count; ++n) {
    const auto& prefix = i.info.raw.prefixes[n];
    if (prefix.value >= 0x40 && prefix.value <= 0x4F) continue;
    const bool operand_or_repeat =
        prefix.value == 0x66 || prefix.value == 0xF2 || prefix.value == 0xF3;
    if (!operand_or_repeat || prefix.type == ZYDIS_PREFIX_TYPE_IGNORED) return true;
  }
  return i.has(ZYDIS_ATTRIB_HAS_BND);
}

// Why an instruction that the list names has no row; null if it has to have one.
const char* left_out(const Instruction& i) {
  if (has_prefix_without_rows(i)) return "lock, segment, address or idle prefix";
  if (has_nameless_register(i)) return "register without a name";
  if (i.one_byte(0x70, 0x7F)) return "short conditional jump";
  if (i.one_byte(0xB8, 0xBF) && !i.wide()) return "B8 without REX.W";
  if (i.one_byte(0xFF, 0xFF) && i.info.raw.modrm.reg == 2 && is_memory(i.operand(0))) {
    return "call through memory";
  }
  return nullptr;
}

// ---- The comparison -------------------------------------------------------

struct Tally {
  std::size_t all = 0, unnamed = 0, covered = 0, recognised = 0, shown = 0, wrong = 0;
  std::map<std::string, std::size_t> left_out, missing;

  double share() const { return covered == 0 ? 1 : double(recognised) / double(covered); }
};

class Comparison {
 public:
  Comparison() { ZydisDecoderInit(&decoder_, ZYDIS_MACHINE_MODE_LONG_64, ZYDIS_STACK_WIDTH_64); }

  // Result: the instruction's length, 1 for code that is none.
  std::size_t check(const std::uint8_t* code, std::size_t size, bool skip = false) {
    Instruction i;
    const bool valid =
        ZYAN_SUCCESS(ZydisDecoderDecodeFull(&decoder_, code, size, &i.info, i.operands));
    if (skip) return valid ? i.info.length : 1;
    i.address = reinterpret_cast<std::uint64_t>(code);
    char text[tarn::kInstructionTextSize];
    std::uint64_t address = i.address;
    tarn::decode_instruction(text, address);
    const bool shown = std::strncmp(text, "db ", 3) != 0;
    const std::string name =
        valid && i.info.encoding == ZYDIS_INSTRUCTION_ENCODING_LEGACY ? our_name(i) : "";
    if (shown) check_text(i, text, valid ? name : "", address - i.address);
    if (valid) count(i, name, shown);
    return valid ? i.info.length : 1;
  }

  Tally tally;

 private:
  void check_text(const Instruction& i, const std::string& text, const std::string& name,
                  std::uint64_t length) {
    if (text == "dummy") return;  // FF FF, the suite's own
    ++tally.shown;
    const bool breakpoint = text == "int   3" && i.info.mnemonic == ZYDIS_MNEMONIC_INT3;
    const std::string expected = breakpoint     ? text
                                 : name.empty() ? "nothing that has a name"
                                                : expected_text(i, name);
    if (text == expected && length == i.info.length) return;
    if (++tally.wrong > 20) return;
    std::string bytes;
    for (int n = 0; n < 16; ++n) {
      char byte[4];
      std::snprintf(byte, sizeof byte, "%02x ",
                    reinterpret_cast<const std::uint8_t*>(i.address)[n]);
      bytes += byte;
    }
    ADD_FAILURE() << bytes << "is \"" << text << "\" of " << length << " bytes, expected \""
                  << expected << "\" of " << int(i.info.length);
  }

  void count(const Instruction& i, const std::string& name, bool shown) {
    ++tally.all;
    if (i.info.mnemonic == ZYDIS_MNEMONIC_INT3) return;
    if (name.empty()) {
      ++tally.unnamed;
    } else if (const char* reason = left_out(i)) {
      ++tally.left_out[reason];
    } else {
      ++tally.covered;
      if (shown) {
        ++tally.recognised;
      } else {
        ++tally.missing[name];
      }
    }
  }

  ZydisDecoder decoder_;
};

void print(const char* what, const Tally& tally) {
  std::printf("%-44s %9zu instructions, %6.2f%% shown; of %9zu covered %7.3f%% recognised\n", what,
              tally.all, 100.0 * double(tally.shown) / double(tally.all), tally.covered,
              100.0 * tally.share());
  std::printf("    not covered: %zu without a name", tally.unnamed);
  for (const auto& [reason, count] : tally.left_out) std::printf(", %zu %s", count, reason.c_str());
  std::printf("\n");
  for (const auto& [name, count] : tally.missing) {
    std::printf("    missing: %zu %s\n", count, name.c_str());
  }
}

// ---- Real programs --------------------------------------------------------

// The bytes of the section, with room behind them; none if there is no file.
std::vector<std::uint8_t> text_section(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> image{std::istreambuf_iterator<char>(file), {}};
  Elf64_Ehdr header;
  if (image.size() < sizeof header) return {};
  std::memcpy(&header, image.data(), sizeof header);
  std::vector<Elf64_Shdr> sections(header.e_shnum);
  std::memcpy(sections.data(), image.data() + header.e_shoff, sections.size() * sizeof(Elf64_Shdr));
  for (const Elf64_Shdr& section : sections) {
    const char* name = image.data() + sections[header.e_shstrndx].sh_offset + section.sh_name;
    if (std::strcmp(name, ".text") != 0) continue;
    const auto* begin = reinterpret_cast<const std::uint8_t*>(image.data()) + section.sh_offset;
    return {begin, begin + section.sh_size};
  }
  return {};
}

class RealProgram : public testing::TestWithParam<const char*> {};

TEST_P(RealProgram, IsShownRightOrAsBytes) {
  std::vector<std::uint8_t> code = text_section(GetParam());
  if (code.empty()) GTEST_SKIP() << GetParam() << " is not here";
  const std::size_t size = code.size();
  code.resize(size + 16);
  Comparison comparison;
  const std::size_t every = step();
  std::size_t ordinal = 0;
  for (std::size_t at = 0; at < size;) {
    at += comparison.check(code.data() + at, size - at, ordinal++ % every != 0);
  }
  print(GetParam(), comparison.tally);
  EXPECT_GE(comparison.tally.share(), 0.99);
  EXPECT_EQ(comparison.tally.wrong, 0u);
}

INSTANTIATE_TEST_SUITE_P(Decoder, RealProgram,
                         testing::Values("/proc/self/exe", "/bin/bash", "/usr/bin/python3",
                                         "/lib/x86_64-linux-gnu/libc.so.6",
                                         "/usr/lib/x86_64-linux-gnu/libstdc++.so.6"));

// ---- Random bytes ---------------------------------------------------------

// Prefixes and opcodes that occur, with the rest at random, since pure chance
// seldom gives an instruction with a prefix.
void make_likely(std::uint8_t* code, std::mt19937& random) {
  static const std::uint8_t prefixes[] = {0x66, 0xF2, 0xF3, 0x67, 0x2E, 0x64, 0xF0};
  for (int left = random() % 4 == 0 ? 2 : 1; left > 0 && random() % 2; --left) {
    *code++ = prefixes[random() % (random() % 8 ? 3 : 7)];
  }
  if (random() % 2) *code++ = static_cast<std::uint8_t>(0x40 + random() % 16);
  if (random() % 2) *code++ = 0x0F;
}

TEST(Decoder, ShowsRandomBytesRightOrAsBytes) {
  std::mt19937 random(20240229);
  Comparison comparison;
  const std::size_t count = 1'000'000 / step();
  std::size_t n = 0;
  for (; n < count; ++n) {
    std::uint8_t code[16];
    for (std::uint8_t& byte : code) byte = static_cast<std::uint8_t>(random());
    if (n % 4 != 0) make_likely(code, random);
    comparison.check(code, sizeof code);
  }
  std::printf("%zu random strings, %zu of them shown as instructions\n", n, comparison.tally.shown);
  EXPECT_EQ(comparison.tally.wrong, 0u);
}

}  // namespace
