// The messages of the run-time errors, shared by the library and by compiled
// code. Constant data. The comments among the messages, of what kind they are
// and what in the library raises them, go with them to docs/errors.md.
#pragma once

#include "platform/abi.h"

namespace tarn {

inline constexpr std::int64_t kCatalogueSize = 449;
inline constexpr std::int64_t kUndefinedError = 0;

// The message of `number` with its placeholders: %1 to %6 stand for strings of
// the caller, %F for a place that only compiled code can name. A number without
// an entry returns the message of kUndefinedError. Never null.
const char* error_text(std::int64_t number);

}  // namespace tarn
