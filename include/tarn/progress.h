/* How far a long job has come: in the console's title, or in a small window
 * with a bar. All routines use the Microsoft x64 convention.
 *
 * The forms with a thread are for jobs that turn out slow. They wait 500 ms,
 * show nothing at all if more than half of the work is done by then, and look
 * again every 500 ms. They only read what the program counts, never make it
 * wait, and what cannot be shown is not shown; their threads have ended when
 * the routine that closes them returns. One thread of the program at a time may
 * use each of the three forms.
 *
 * The window is a real one on Windows. On Linux the last row of the terminal of
 * standard output, or else of standard error, shows the same; what the program
 * prints meanwhile scrolls above it. Without a terminal nothing is shown. */
#ifndef TARN_PROGRESS_H
#define TARN_PROGRESS_H

#include "api.h"

TARN_API_BEGIN

/* ---- In the console's title ----------------------------------------------
 * " (NN%)" comes after the title. Of a title of more than 248 bytes the end
 * gives way to it, and comes back when the title does. Titles of more than 255
 * bytes are shown and come back cut at 255. */

/* Shows `percent`, 100 for any greater value. A negative one puts the title
 * back as the first call found it; as the first call, -1 does nothing. Does
 * nothing where the console has no title. */
TARNAPI void DisplayProgress(int percent);

/* Starts a thread that shows how far a job of `total` steps has come, always
 * one percent ahead. It shows nothing of a job of 0 steps or less. Result: its
 * handle, which CloseProgressThread closes; null if there is such a thread
 * already, if the system counts the machine as slow, or if there is no storage
 * for it. */
TARNAPI void* MakeProgressThread(int total);

/* The steps done. A smaller value than an earlier one is ignored; a negative one
 * says that the job is done. */
TARNAPI void UpdateProgressValue(int value);

/* Ends the thread, if there is one, and puts the title back. Raises the run-time
 * error 199 if the system refuses. */
TARNAPI void CloseProgressThread(void);

/* ---- In a window ----------------------------------------------------------
 * The window stays above all others. It shows one line, a percentage and a bar;
 * closing it by its menu ends the window, not the job. */

/* `total`: the steps to do; 0 or less: nothing happens. `title` is the caption
 * and `text` the line, both in the console's (OEM) character set and cut at 255
 * bytes. The counts of SetErrorCounters come directly after the line, which
 * is cut where both have more than 255 bytes; end it with a space or ": ". The
 * percentage has its own place and is never cut.
 * Starting a dialog closes an earlier one. The steps done are not set back: a
 * second dialog of the same run begins with the value of the first and takes
 * only greater ones. */
TARNAPI void StartProgressDialog(int total, const char* title, const char* text);

/* The steps done: `value` if it is the greatest so far, and the total if it is
 * above that. A negative value is ignored. */
TARNAPI void UpdateProgressDialog(int value);

/* Ends the dialog, if there is one, and sets the counts back to -1. */
TARNAPI void CloseProgressDialog(void);

/* Running counts, which the window shows from its next turn on when one of them
 * is above 0. A count of 0 is left out; set all three together, as one that is
 * still -1 is shown as -1. */
TARNAPI void SetErrorCounters(int errors, int warnings, int comments);

/* ---- Parts ---------------------------------------------------------------- */

/* Writes the counts as the window does, such as "2 errors, 1 warning", with a
 * NUL; if all are 0 nothing is written, no NUL either. `destination` has room
 * for 63 bytes. Result: characters without the NUL. */
TARNAPI int MakeErrorReportLine(char* destination, int errors, int warnings, int comments);

/* Writes "VALUE WORD", with an 's' after it unless the value is 1, and a NUL:
 * at most 13 bytes beside the word's own. Result: where the NUL is. */
TARNAPI char* add_int_and_string(char* destination, int value, const char* word);

/* A new event, not signalled, that one wait takes, and that child processes may
 * inherit; `name` null for one without a name. -1 on failure, and on Linux for
 * every name. */
TARNAPI void* CreateNamedEvent(const char* name);

TARN_API_END

#endif
