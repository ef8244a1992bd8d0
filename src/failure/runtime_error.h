// Overview of the failure module.
//
// A failure is raised as a number (process/raising.h). The exception handler
// (failure/exception_handler.h) catches it, looks up its message
// (failure/catalogue.h, failure/error_message.h), walks back through the
// callers (failure/traceback.h) and shows the report (failure/report.h). This
// header has the two routines that compose a message first.
//
// State: the buffer of nt_error_message.
#pragma once

#include "process/raising.h"

namespace tarn {

// A text_error message is at most this long, its NUL included; more is cut.
inline constexpr std::uint64_t kTextErrorSize = 528;

// Raises 345 with a formatted message (printf's rules), cut at kTextErrorSize.
TARNAPI void text_error(const char* format, ...);

// The system's message for its error `code`, at most 255 characters; "Unknown
// error" if it has none, or a longer one, or if the heap is exhausted. Valid
// until the next call, by any thread.
TARNAPI char* nt_error_message(std::uint32_t code);

}  // namespace tarn
