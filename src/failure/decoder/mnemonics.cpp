#include "failure/decoder/mnemonics.h"

namespace tarn {

const InstructionDescriptor instruction_table[] = {
#define TARN_MNEMONIC(name, width) {static_cast<std::uint16_t>(Mnemonic::name), width, #name},
#include "failure/decoder/mnemonics.inc"
#undef TARN_MNEMONIC
};

}  // namespace tarn
