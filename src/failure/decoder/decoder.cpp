#include "failure/decoder/decoder.h"

#include "failure/decoder/encodings.h"
#include "failure/decoder/mnemonics.h"
#include "streams/format.h"
#include "strings/c_string.h"
#include "strings/character.h"

namespace tarn {
namespace {

constexpr int kCodeBytes = 16;  // an instruction has at most 15
constexpr int kCodeBits = kCodeBytes * 8;
constexpr std::uint64_t kPageSize = 4096;
constexpr std::uint8_t kUnreadable = 0xF0;  // begins no row
constexpr std::uint8_t kBreakpoint = 0xCC;
constexpr int kMaxPrefixes = 5;
constexpr int kNoRex = -1;
constexpr int kMemoryLetters = 5;  // of one operand: two of mode, three of register
constexpr int kMemoryTextSize = 32;

const char* const kGeneralRegisters[] = {"RAX", "RCX", "RDX", "RBX", "RSP", "RBP", "RSI", "RDI",
                                         "R8",  "R9",  "R10", "R11", "R12", "R13", "R14", "R15"};
const char* const kXmmRegisters[] = {"XMM0",  "XMM1",  "XMM2",  "XMM3", "XMM4",  "XMM5",
                                     "XMM6",  "XMM7",  "XMM8",  "XMM9", "XMM10", "XMM11",
                                     "XMM12", "XMM13", "XMM14", "XMM15"};

platform::Handle remote_process = nullptr;
std::int64_t immediate_value = 0;
char segment_offset_text[18];

struct Code {
  std::uint8_t bytes[kCodeBytes];
  std::uint8_t bits[kCodeBits];  // highest bit of each byte first
  int readable;                  // bytes that could be read
  int prefix_bits;
};

struct Register {
  std::uint32_t number = 0;
  bool seen = false;
};

// One attempt to fit the code to a row.
struct Attempt {
  const Code* code;
  const char* pattern;  // the next character
  int position = 0;     // in bits
  int rex = kNoRex;     // position of the REX byte
  std::uint8_t rex_x = 0, rex_b = 0;
  std::uint8_t form = 0, count = 0;  // the letters N and C
  Register general_first, general_second, xmm_first, xmm_second;
  bool memory_first = false, memory_second = false;
  int memory_letters = 0;  // since the last memory operand was decoded
  bool has_relative = false, has_immediate = false;
  std::int64_t relative = 0, immediate = 0;
  char memory[kMemoryTextSize];
};

// ---- Reading --------------------------------------------------------------

bool read_code(std::uint64_t address, std::uint8_t* bytes, std::uint64_t count) {
  const platform::Handle process = remote_process ? remote_process : platform::GetCurrentProcess();
  std::uint64_t copied = 0;
  return platform::ReadProcessMemory(process, reinterpret_cast<const void*>(address), bytes, count,
                                     &copied) != 0;
}

// As many bytes as there are: all, or those up to the end of the page.
void fetch(std::uint64_t address, Code& code) {
  for (std::uint8_t& byte : code.bytes) byte = kUnreadable;
  code.readable = 0;
  const std::uint64_t in_page = kPageSize - address % kPageSize;
  if (read_code(address, code.bytes, kCodeBytes)) {
    code.readable = kCodeBytes;
  } else if (in_page < kCodeBytes && read_code(address, code.bytes, in_page)) {
    code.readable = static_cast<int>(in_page);
  }
  for (int i = code.readable; i < kCodeBytes; ++i) code.bytes[i] = kUnreadable;
}

void expand_bits(Code& code) {
  for (int i = 0; i < kCodeBits; ++i) code.bits[i] = code.bytes[i / 8] >> (7 - i % 8) & 1;
}

bool is_prefix(std::uint8_t byte) {
  return byte == 0xF2 || byte == 0xF3 || byte == 0x66 || byte == 0x67;
}

void count_prefixes(Code& code) {
  int count = 0;
  while (count < kMaxPrefixes && is_prefix(code.bytes[count])) ++count;
  code.prefix_bits = count * 8;
}

// Takes a little-endian number of `bytes` bytes, with its sign.
bool take_number(Attempt& attempt, int bytes, std::int64_t& number) {
  const int first = attempt.position / 8;
  if (first + bytes > kCodeBytes) return false;
  std::uint64_t value = 0;
  for (int i = bytes - 1; i >= 0; --i) value = value << 8 | attempt.code->bytes[first + i];
  const int unused = 64 - bytes * 8;
  number = static_cast<std::int64_t>(value << unused) >> unused;
  attempt.position += bytes * 8;
  return true;
}

// ---- Memory operands ------------------------------------------------------

const char* base_name(const Attempt& attempt, int low_bits) {
  return kGeneralRegisters[low_bits + 8 * attempt.rex_b];
}

// The registers of a scale byte. Result: whether a base takes part.
bool append_scaled(const Attempt& attempt, std::uint8_t scaled, int mode, char* text) {
  static const char* const kScales[] = {"+", "+2*", "+4*", "+8*"};
  const int index = (scaled >> 3 & 7) + 8 * attempt.rex_x;
  const int base = scaled & 7;
  const bool has_base = base != 5 || mode != 0;
  if (has_base) strcat(text, base_name(attempt, base));
  if (index != 4) {
    strcat(text, kScales[scaled >> 6]);
    strcat(text, kGeneralRegisters[index]);
  }
  return has_base;
}

// The operand whose mode byte was just consumed, with what follows that byte.
// Mode 3 is a register, which no row with a memory operand matches.
bool decode_memory_operand(Attempt& attempt) {
  const std::uint8_t mode_byte = attempt.code->bytes[attempt.position / 8 - 1];
  const int mode = mode_byte >> 6;
  const int low = mode_byte & 7;
  if (mode == 3) return false;
  char registers[kMemoryTextSize] = "";
  int displacement_bytes = mode == 1 ? 1 : mode == 2 ? 4 : 0;
  if (low == 4) {
    std::int64_t scaled = 0;
    if (!take_number(attempt, 1, scaled)) return false;
    if (!append_scaled(attempt, static_cast<std::uint8_t>(scaled), mode, registers)) {
      displacement_bytes = 4;
    }
  } else if (low == 5 && mode == 0) {
    strcat(registers, "RIP");
    displacement_bytes = 4;
  } else {
    strcat(registers, base_name(attempt, low));
  }
  std::int64_t displacement = 0;
  if (displacement_bytes != 0 && !take_number(attempt, displacement_bytes, displacement)) {
    return false;
  }
  char* const end = stpcpy(attempt.memory, "[");
  if (displacement != 0) {
    sprintf(end, "%x%s", static_cast<std::uint32_t>(displacement), registers[0] ? "+" : "");
  }
  strcat(attempt.memory, registers);
  strcat(attempt.memory, "]");
  return true;
}

// ---- Fitting a row --------------------------------------------------------

bool continues_with_rex(const char* pattern) {
  return pattern[0] == '0' && pattern[1] == '1' && pattern[2] == '0' && pattern[3] == '0';
}

// Skips the eight characters of an optional REX byte; null if they demand it.
const char* behind_optional_rex(const char* pattern) {
  int ones = 0;
  for (int left = 8; left > 0 && *pattern; ++pattern) {
    if (*pattern == ' ') continue;
    if (*pattern == '1') ++ones;
    --left;
  }
  return ones > 1 ? nullptr : pattern;
}

void check_for_rex(Attempt& attempt) {
  if (attempt.rex != kNoRex || !continues_with_rex(attempt.pattern)) return;
  const std::uint8_t* const bits = attempt.code->bits + attempt.position;
  attempt.rex_x = attempt.rex_b = 0;
  if (bits[0] == 0 && bits[1] == 1 && bits[2] == 0 && bits[3] == 0) {
    attempt.rex = attempt.position;
    attempt.rex_x = bits[6];
    attempt.rex_b = bits[7];
  } else if (const char* const behind = behind_optional_rex(attempt.pattern)) {
    attempt.pattern = behind;
  }
}

// The X and B bits of the REX byte belong to a memory operand if the row
// assigns them to nothing else.
bool is_free_rex_bit(const Attempt& attempt) {
  const int bit = attempt.position - attempt.rex;
  return attempt.rex != kNoRex && (bit == 6 || bit == 7);
}

bool take_register_bit(Register& operand, std::uint8_t bit) {
  operand.number = operand.number * 2 + bit;
  operand.seen = true;
  return true;
}

bool take_shift_bit(Attempt& attempt, std::uint8_t& value, std::uint8_t bit) {
  value = bit;
  attempt.general_first.number = attempt.rex_b;
  return true;
}

bool take_memory_bit(Attempt& attempt, bool& seen) {
  seen = true;
  if (++attempt.memory_letters < kMemoryLetters) return true;
  attempt.memory_letters = 0;
  return decode_memory_operand(attempt);
}

bool take_immediate(Attempt& attempt, int bytes) {
  attempt.has_immediate = true;
  return take_number(attempt, bytes, attempt.immediate);
}

bool take_relative(Attempt& attempt, int bytes) {
  attempt.has_relative = true;
  return take_number(attempt, bytes, attempt.relative);
}

bool match_bit(Attempt& attempt, char letter) {
  if (attempt.position >= kCodeBits) return false;
  const bool free = is_free_rex_bit(attempt);
  const std::uint8_t bit = attempt.code->bits[attempt.position++];
  switch (letter) {
    case '0':
      return bit == 0 || free;
    case '1':
      return bit == 1;
    case 'R':
      return take_register_bit(attempt.general_first, bit);
    case 'r':
      return take_register_bit(attempt.general_second, bit);
    case 'X':
      return take_register_bit(attempt.xmm_first, bit);
    case 'x':
      return take_register_bit(attempt.xmm_second, bit);
    case 'M':
      return take_memory_bit(attempt, attempt.memory_first);
    case 'm':
      return take_memory_bit(attempt, attempt.memory_second);
    case 'N':
      return take_shift_bit(attempt, attempt.form, bit);
    case 'C':
      return take_shift_bit(attempt, attempt.count, bit);
    default:
      return false;
  }
}

bool match_character(Attempt& attempt, char letter) {
  switch (letter) {
    case ' ':
      return true;
    case 'I':
      return attempt.form == 1 || take_immediate(attempt, 1);
    case 'J':
      return take_immediate(attempt, 2);
    case 'K':
      return take_immediate(attempt, 4);
    case 'L':
      return take_immediate(attempt, 8);
    case 'i':
      return take_relative(attempt, 1);
    case 'j':
      return take_relative(attempt, 2);
    case 'k':
      return take_relative(attempt, 4);
    default:
      return match_bit(attempt, letter);
  }
}

// Without a REX byte the byte registers 4 to 7 are AH, CH, DH and BH, which
// have no names here.
bool names_high_byte(const Attempt& attempt, const InstructionDescriptor& instruction) {
  const auto high = [](const Register& r) { return r.seen && r.number >= 4; };
  return instruction.width == 1 && attempt.rex == kNoRex &&
         (high(attempt.general_first) || high(attempt.general_second));
}

bool fits(Attempt& attempt, const InstructionDescriptor& instruction) {
  for (;;) {
    if (attempt.position == attempt.code->prefix_bits) check_for_rex(attempt);
    const char letter = *attempt.pattern;
    if (letter == 0) break;
    ++attempt.pattern;
    if (!match_character(attempt, letter)) return false;
  }
  return attempt.position <= attempt.code->readable * 8 && !names_high_byte(attempt, instruction);
}

// ---- Text -----------------------------------------------------------------

void append_operand(char* text, const Register& general, const Register& xmm, bool memory,
                    const Attempt& attempt) {
  if (general.seen) strcat(text, kGeneralRegisters[general.number]);
  if (xmm.seen) strcat(text, kXmmRegisters[xmm.number]);
  if (memory) strcat(text, attempt.memory);
}

void append_immediate(char* text, const Attempt& attempt,
                      const InstructionDescriptor& instruction) {
  char* end = strend(text);
  if (end[-1] != ',' && end[-1] != ' ') end = stpcpy(end, ",");
  if (instruction.width == 8) {
    sprintf(end, "%Lx", attempt.immediate);
  } else {
    sprintf(end, "%x", static_cast<std::uint32_t>(attempt.immediate));
  }
}

void compose(char* text, const Attempt& attempt, const InstructionDescriptor& instruction,
             std::uint64_t next_address) {
  const bool first = attempt.general_first.seen || attempt.xmm_first.seen || attempt.memory_first;
  const bool second =
      attempt.general_second.seen || attempt.xmm_second.seen || attempt.memory_second;
  strlwr(strcpy(text, instruction.mnemonic));
  if (first || second || attempt.has_relative || attempt.has_immediate) strcat(text, "       ");
  if (attempt.has_relative) {
    sprintf(strend(text), "%Lx", next_address + static_cast<std::uint64_t>(attempt.relative));
  }
  append_operand(text, attempt.general_first, attempt.xmm_first, attempt.memory_first, attempt);
  if (first && (second || attempt.has_immediate)) strcat(text, ",");
  append_operand(text, attempt.general_second, attempt.xmm_second, attempt.memory_second, attempt);
  if (attempt.has_immediate) {
    append_immediate(text, attempt, instruction);
  } else if (attempt.form == 1) {
    strcat(text, attempt.count == 1 ? ",cl" : ",1");
  }
  string_replace(text, "+RBP]", "]$");
  string_replace(text, "RBP]", "]$");
}

bool decode_known(char* text, std::uint64_t& address, const Code& code) {
  for (const EncodingRow* row = encoding_table; row->id != 0; ++row) {
    const InstructionDescriptor& instruction = instruction_table[row->id - 1];
    Attempt attempt;
    attempt.code = &code;
    attempt.pattern = row->pattern;
    if (!fits(attempt, instruction)) continue;
    immediate_value = attempt.immediate;
    address += static_cast<std::uint64_t>(attempt.position / 8);
    compose(text, attempt, instruction, address);
    return true;
  }
  return false;
}

}  // namespace

char* decode_instruction(char* text, std::uint64_t& address) {
  immediate_value = 0;
  Code code;
  fetch(address, code);
  if (code.bytes[0] == kBreakpoint) {
    strcpy(text, "int   3");
    ++address;
    return text;
  }
  expand_bits(code);
  count_prefixes(code);
  if (decode_known(text, address, code)) return text;
  sprintf(text, "db     %2.2x,%2.2x,%2.2x,%2.2x,%2.2x", code.bytes[0], code.bytes[1], code.bytes[2],
          code.bytes[3], code.bytes[4]);
  ++address;
  return text;
}

char* decode_remote_instruction(platform::Handle process, char* text, std::uint64_t& address) {
  remote_process = process;
  decode_instruction(text, address);
  remote_process = nullptr;
  return text;
}

std::int64_t get_idecode_immediate_value() { return immediate_value; }

char* segment_offset(std::uint64_t address, std::int32_t pad) {
  sprintf(segment_offset_text, pad ? "%8.8x:%8.8x" : "%x:%8.8x",
          static_cast<std::uint32_t>(address >> 32), static_cast<std::uint32_t>(address));
  return segment_offset_text;
}

}  // namespace tarn
