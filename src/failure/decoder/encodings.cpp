#include "failure/decoder/encodings.h"

namespace tarn {

constexpr EncodingRow encoding_table[] = {
#define TARN_ENCODING(mnemonic, pattern) {static_cast<std::uint32_t>(Mnemonic::mnemonic), pattern},
#include "failure/decoder/encodings.inc"
#undef TARN_ENCODING
    {0, ""},
};

namespace {

constexpr bool every_instruction_has_its_rows_in_order() {
  std::uint32_t last = 0;
  for (const EncodingRow* row = encoding_table; row->id != 0; ++row) {
    if (row->id != last && row->id != last + 1) return false;
    last = row->id;
  }
  return last == kInstructionCount;
}
static_assert(every_instruction_has_its_rows_in_order());

}  // namespace

}  // namespace tarn
