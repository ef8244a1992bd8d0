// The reports alone, for programs with a C run-time of their own. Such a program has no
// start-up script: tarnreport/ is linked into it, loads the library and begins the
// reports here. Nothing else of the library is brought up, so that the program's
// floating-point control, heap, arguments, console and streams stay its own; the system's
// handler of unhandled exceptions, which tarnreport/ installs, calls in the end.
#pragma once

#include "platform/platform.h"

namespace tarn {

// failure/exception_handler.h has the contracts.
struct ReportsForOthers {
  void(TARNAPI* report)(platform::ExceptionPointers* exception, const char* text);
  void(TARNAPI* fail)(platform::ExceptionPointers* exception);
};

// The DLL exports it by this ordinal, without a name: it is for tarnreport/ alone.
inline constexpr int kBeginReportsOrdinal = 1000;

// Null if failures are reported already, in a program of the suite or by another image.
extern "C" TARNAPI const ReportsForOthers* tarn_begin_reports();

}  // namespace tarn
