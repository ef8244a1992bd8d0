// Overview of the failure module.
//
// A failure is raised as a number (process/raising.h). The exception handler
// (failure/exception_handler.h) catches it, looks up its message
// (failure/catalogue.h, failure/error_message.h), walks back through the
// callers (failure/traceback.h) and shows the report (failure/report.h). The
// two routines that compose a message first, text_error and nt_error_message, are
// declared in include/tarn/errors.h.
//
// State: the buffer of nt_error_message.
#pragma once

#include "process/raising.h"

namespace tarn {

// A text_error message is at most this long, its NUL included; more is cut.
inline constexpr std::uint64_t kTextErrorSize = 528;

}  // namespace tarn
