#include "failure/decoder/mnemonics.h"

namespace tarn {

const InstructionDescriptor instruction_table[] = {
#define TARN_MNEMONIC(name, width) {static_cast<std::uint32_t>(Mnemonic::name), #name, width},
#include "failure/decoder/mnemonics.inc"
#undef TARN_MNEMONIC
};

#define TARN_MNEMONIC(name, width) static_assert(sizeof(#name) <= kLongestMnemonic + 1);
#include "failure/decoder/mnemonics.inc"
#undef TARN_MNEMONIC

}  // namespace tarn
