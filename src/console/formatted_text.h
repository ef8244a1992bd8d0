// A formatted text of any length: in a buffer of its own, or in a block of the
// heap if it is longer.
#pragma once

#include "platform/abi.h"

namespace tarn {

struct FormattedText {
  char* text;           // ends in a NUL
  std::int32_t length;  // without it
  char local[1024];
};

// The longest text that is taken whole.
inline constexpr std::int32_t kLongestFormatted = 1 << 20;

// A longer string, or one without storage, is cut to the local buffer.
void format_text(FormattedText* result, const char* format, const Slot* slots);
void release_text(FormattedText* text);

}  // namespace tarn
