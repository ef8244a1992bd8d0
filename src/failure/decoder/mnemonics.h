// The operations that the instruction decoder names. Constant data.
#pragma once

#include "platform/abi.h"

namespace tarn {

enum class Mnemonic : std::uint32_t {
  kNone = 0,
#define TARN_MNEMONIC(name, width) name,
#include "failure/decoder/mnemonics.inc"
#undef TARN_MNEMONIC
};

inline constexpr std::uint32_t kInstructionCount = 548;
inline constexpr std::uint32_t kLongestMnemonic = 12;

struct InstructionDescriptor {
  std::uint16_t id;                     // its position in instruction_table, from 1
  std::uint8_t width;                   // of the operation in bytes: 1, 2, 4, 8, or 0 for none
  char mnemonic[kLongestMnemonic + 1];  // in upper case
};

// Descriptor n is at index n - 1.
extern const InstructionDescriptor instruction_table[kInstructionCount];

}  // namespace tarn
