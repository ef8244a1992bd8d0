// The scanner: scanf, fscanf, sscanf. The contract is "Formatted input" of
// include/stdio.h. Fields are collected as text and turned into values by
// streams/conversion/number_parse.h.
//
// State: the source, one for the process. Not re-entrant.
#pragma once

#include "include/stdio.h"
#include "include/tarn/number_text.h"
#include "platform/abi.h"
#include "streams/file_stream.h"

namespace tarn {

// What _getdels needs: the first 175 characters of a set are copied as they are,
// of the others those not yet in it, and a NUL.
inline constexpr std::int32_t kSetSize = 175 + 255 + 1;

}  // namespace tarn
