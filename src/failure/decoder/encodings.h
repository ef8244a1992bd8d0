// The encodings that the instruction decoder recognises. Constant data, without pointers,
// which would be relocated at every start.
#pragma once

#include "failure/decoder/mnemonics.h"

namespace tarn {

inline constexpr std::uint32_t kLongestPattern = 55;

struct EncodingRow {
  std::uint32_t id;                   // of the instruction's descriptor
  char pattern[kLongestPattern + 1];  // in the language that encodings.inc describes
};

// In ascending order of the identifiers, and of the attempts; ends with a row
// whose id is 0.
extern const EncodingRow encoding_table[];

}  // namespace tarn
