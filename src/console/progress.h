// How far a long job has come, shown in one of three ways.
//
//   DisplayProgress       the program writes a percentage into the console's
//                         title by itself
//   MakeProgressThread    a thread does that from a value the program counts up
//   StartProgressDialog   a small window with a bar, a line of text and the
//                         counts of console/report_lines.h
//
// The two with threads are for jobs that turn out slow: each waits 500 ms, shows
// nothing at all if more than half is done by then, and looks again every 500
// ms. They never disturb the job: what cannot be shown is not shown. Their
// threads only read what the program writes, and end before the routine that
// closes them returns.
//
// State: the title as it was found, and one record each for the two forms with
// threads. One thread of the program at a time may use each of the three forms.
#pragma once

#include "include/tarn/progress.h"
#include "platform/platform.h"

namespace tarn {

// The body of MakeProgressThread's thread. `record` has the work done and to do
// and the event that ends it. Result: the thread's exit code.
struct ProgressRecord {
  float current, total;
  std::int32_t percent;  // the last one worked out
  std::int64_t stop_event;
};
TARNAPI std::uint32_t MonitorThread(void* record);

// The bodies of StartProgressDialog's threads: one waits and watches, the other
// serves the window. The argument is not looked at.
TARNAPI std::uint32_t DialogMonitor(void* unused);
TARNAPI std::uint32_t DialogThread(void* unused);

}  // namespace tarn
