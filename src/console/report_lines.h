// A line of counts: "2 errors, 1 warning, 3 comments".
//
// A program sets three running counts, -1 each until then, and the
// progress window (console/progress.h) draws them after its text. They belong
// to the process: one thread writes them, any may read.
#pragma once

#include "platform/abi.h"

namespace tarn {

struct ErrorCounters {
  std::int32_t error_count, warning_count, comment_count;
};

// Room for the longest line, NUL included: three values of 11 characters.
inline constexpr std::uint32_t kReportLineSize = 63;

// Shown by the window's next repaint. The end of the window sets all to -1.
TARNAPI void SetErrorCounters(std::int32_t errors, std::int32_t warnings, std::int32_t comments);

ErrorCounters error_counters();

// Writes the counts that are not 0, with ", " between them, and a NUL; nothing
// at all if all are 0. A negative count is written as it is. `destination` has
// room for kReportLineSize bytes. Result: characters without the NUL.
TARNAPI std::int32_t MakeErrorReportLine(char* destination, std::int32_t errors,
                                         std::int32_t warnings, std::int32_t comments);

// Writes "VALUE WORD", and an 's' after it unless the value is 1, and a NUL:
// up to 13 bytes beside the word's. Result: where the NUL is.
TARNAPI char* add_int_and_string(char* destination, std::int32_t value, const char* word);

}  // namespace tarn
