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

#include "platform/platform.h"

namespace tarn {

// ---- In the console's title --------------------------------------------------
// " (NN%)" follows the title. If both don't fit into 255 characters the end of
// the title is cut, and is restored with the title.

// Shows a percentage, 100 for any greater one. A negative one puts the title
// back as the first call found it; as the first call, -1 does nothing. Does
// nothing while the console has no title.
TARNAPI void DisplayProgress(std::int32_t percent);

// Starts the thread that shows how far a job of `total` steps has come, one
// percent ahead. A negative total shows nothing. Result: its handle, which
// CloseProgressThread closes; null if there is such a thread already, or the
// system counts the machine as slow, or it can't be started.
TARNAPI platform::Handle MakeProgressThread(std::int32_t total);

// What is done. A smaller value than the last one is ignored; a negative one
// tells that the job is done.
TARNAPI void UpdateProgressValue(std::int32_t value);

// Ends the thread, if there is one, and puts the title back. Raises 199 where
// the system refuses.
TARNAPI void CloseProgressThread();

// The thread's body. `record` has the work done and to do and the event that
// ends it. Result: the thread's exit code.
struct ProgressRecord {
  float current, total;
  std::int32_t percent;  // the last one worked out
  std::int64_t stop_event;
};
TARNAPI std::uint32_t MonitorThread(void* record);

// ---- In a window -------------------------------------------------------------
// Windows shows a real window; elsewhere the last row of the terminal has the
// same contents.

// `total`: the work to do; of 0 or less nothing happens. `title` is the window's
// caption and `text` the line in it, in the console's character set, each cut
// at 255 bytes; of the line as much is drawn as leaves room for the counts. A
// dialog that is still there is closed first. Work done is not set back: a
// second dialog begins with the value of the first, and takes greater ones.
TARNAPI void StartProgressDialog(std::int32_t total, const char* title, const char* text);

// What is done: `value` if it is the greatest so far, the total if it is above
// that; a negative one is ignored.
TARNAPI void UpdateProgressDialog(std::int32_t value);

// Ends the dialog, if there is one, and forgets the counts.
TARNAPI void CloseProgressDialog();

// The bodies of its threads: one waits and watches, the other serves the window.
// For threads that StartProgressDialog makes; the argument is ignored.
TARNAPI std::uint32_t DialogMonitor(void* unused);
TARNAPI std::uint32_t DialogThread(void* unused);

// ---- Events ------------------------------------------------------------------

// An event that one wait takes, not signalled; `name` null for one without a
// name, as all here are. -1 on failure, on Linux for every name.
TARNAPI platform::Handle CreateNamedEvent(const char* name);

}  // namespace tarn
