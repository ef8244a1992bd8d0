#include "failure/divide_error.h"

#include "failure/safe_memory.h"

namespace tarn {
namespace {

constexpr std::uint64_t kLongestInstruction = 15;

// The code of an instruction, byte by byte.
class Code {
 public:
  explicit Code(std::uint64_t address) : address_(address) {
    safe_memory_read(address, bytes_, sizeof bytes_);
  }
  std::uint8_t peek() const { return bytes_[at_]; }
  std::uint8_t next() { return at_ < kLongestInstruction ? bytes_[at_++] : bytes_[at_]; }
  std::int64_t displacement(int size) {
    std::uint32_t value = 0;
    for (int i = 0; i < size; ++i) value |= std::uint32_t{next()} << 8 * i;
    return size == 1 ? static_cast<std::int8_t>(value) : static_cast<std::int32_t>(value);
  }
  std::uint64_t address() const { return address_ + at_; }

 private:
  std::uint64_t address_;
  std::uint64_t at_ = 0;
  std::uint8_t bytes_[kLongestInstruction + 1];
};

// Numbered as the processor does: rax rcx rdx rbx rsp rbp rsi rdi r8 to r15.
std::uint64_t general(const platform::AMD_CONTEXT& context, int number) {
  return (&context.Rax)[number];
}

std::uint64_t memory_operand(const platform::AMD_CONTEXT& context, Code* code, int mode, int base,
                             std::uint8_t rex) {
  constexpr int kSib = 4;     // as the base: a scale byte follows
  constexpr int kNoBase = 5;  // with mode 0: a displacement alone
  constexpr int kNoIndex = 4;
  std::uint64_t address = 0;
  bool has_base = true;
  const bool relative = mode == 0 && base == kNoBase;
  if (base == kSib) {
    const std::uint8_t sib = code->next();
    const int index = (sib >> 3 & 7) | (rex & 2) << 2;
    if (index != kNoIndex) address = general(context, index) << (sib >> 6);
    base = sib & 7;
    has_base = mode != 0 || base != kNoBase;
  } else if (relative) {
    has_base = false;
  }
  if (has_base) address += general(context, base | (rex & 1) << 3);
  const int size = mode == 1 ? 1 : mode == 2 || !has_base ? 4 : 0;
  address += static_cast<std::uint64_t>(code->displacement(size));
  return relative ? address + code->address() : address;  // to the next instruction
}

}  // namespace

bool is_divide_overflow(const platform::AMD_CONTEXT& context) {
  constexpr std::uint8_t kByteGroup = 0xF6;  // not, neg, mul, div and the like
  constexpr std::uint8_t kWordGroup = 0xF7;
  Code code(context.Rip);
  bool word = false;
  std::uint8_t rex = 0;
  for (; code.peek() == 0x66 || code.peek() == 0x2E || code.peek() == 0x3E; code.next()) {
    word |= code.peek() == 0x66;
  }
  if ((code.peek() & 0xF0) == 0x40) rex = code.next();
  const std::uint8_t opcode = code.next();
  const std::uint8_t form = code.next();
  const bool divides = (form >> 3 & 7) >= 6;
  if ((opcode != kByteGroup && opcode != kWordGroup) || !divides) return false;
  const int mode = form >> 6;
  const int operand = form & 7;
  int size = word ? 2 : 4;
  if (rex & 8) size = 8;
  if (opcode == kByteGroup) size = 1;
  std::uint64_t divisor = 0;
  if (mode != 3) {
    const std::uint64_t address = memory_operand(context, &code, mode, operand, rex);
    safe_memory_read(address, &divisor, static_cast<std::uint32_t>(size));
  } else if (size == 1 && rex == 0 && operand >= 4) {
    divisor = general(context, operand - 4) >> 8;  // ah, ch, dh, bh
  } else {
    divisor = general(context, operand | (rex & 1) << 3);
  }
  return size == 8 ? divisor != 0 : (divisor & ((std::uint64_t{1} << 8 * size) - 1)) != 0;
}

}  // namespace tarn
