// A line of counts: "2 errors, 1 warning, 3 comments".
//
// A program sets three running counts, -1 each until then, and the
// progress window (console/progress.h) draws them after its text. They belong
// to the process: one thread writes them, any may read.
#pragma once

#include "include/tarn/progress.h"
#include "platform/abi.h"

namespace tarn {

struct ErrorCounters {
  std::int32_t error_count, warning_count, comment_count;
};

// Room for the longest line, NUL included: three values of 11 characters.
inline constexpr std::uint32_t kReportLineSize = 63;

ErrorCounters error_counters();

}  // namespace tarn
