// The encodings that the instruction decoder recognises. Constant data.
#pragma once

#include "failure/decoder/mnemonics.h"

namespace tarn {

struct EncodingRow {
  std::uint32_t id;     // of the instruction's descriptor
  const char* pattern;  // in the language that encodings.inc describes
};

// In ascending order of the identifiers, and of the attempts; ends with a row
// whose id is 0.
extern const EncodingRow encoding_table[];

}  // namespace tarn
