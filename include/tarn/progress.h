/* The progress of a long job, in the console's title, or in a small window
 * with a bar. All routines use the Microsoft x64 convention.
 *
 * The forms with a thread are for jobs that may turn out slow. They wait 500 ms,
 * show nothing at all if more than half of the work is done by then, and otherwise
 * update every 500 ms. They only read the program's counts and never make it wait;
 * failures to show them are ignored. Their threads have ended when the routine that
 * closes them returns. One thread of the program at a time may use each of the three
 * forms.
 *
 * On Windows there is a real window. On Linux the last row of the terminal of
 * standard output, or else of standard error, shows the same; the program's output
 * scrolls above it. Without a terminal nothing is shown. */
#ifndef TARN_PROGRESS_H
#define TARN_PROGRESS_H

#include "api.h"

TARN_API_BEGIN

/* ---- In the console's title ----------------------------------------------
 * " (NN%)" is appended to the title. It replaces the end of a title of more than
 * 248 bytes until the title is restored. Titles of more than 255 bytes are shown
 * and restored cut at 255. */

/* Shows `percent`, 100 for any greater value. A negative value restores the title
 * that the first call found; as the first call, -1 does nothing. Does
 * nothing if the console has no title. */
TARNAPI void DisplayProgress(int percent);

/* Starts a thread that shows the progress of a job of `total` steps, always one
 * percent ahead, or nothing for a job of 0 steps or less. Result: its handle,
 * which CloseProgressThread closes; null if there is such a thread already, if the
 * system classes the machine as slow, or if there is no storage. */
TARNAPI void* MakeProgressThread(int total);

/* Sets the number of steps done. A value smaller than an earlier one is ignored; a
 * negative one means that the job is done. */
TARNAPI void UpdateProgressValue(int value);

/* Ends the thread, if there is one, and restores the title. Raises the run-time
 * error 199 if the system refuses. */
TARNAPI void CloseProgressThread(void);

/* ---- In a window ----------------------------------------------------------
 * The window stays above all others. It shows one line, a percentage and a bar;
 * closing it with its menu closes the window and does not stop the job. */

/* Starts a dialog for a job of `total` steps; for 0 or less it does nothing.
 * `title` is the caption and `text` the line, both in the console's (OEM) character
 * set and cut at 255 bytes. The counts of SetErrorCounters come directly after the
 * line, which is cut if both together have more than 255 bytes; end it with a space
 * or ": ". The percentage has its own place and is never cut.
 * Starting a dialog closes an earlier one. The steps done are not reset: a
 * second dialog of the same run begins with the value of the first and accepts
 * only greater ones. */
TARNAPI void StartProgressDialog(int total, const char* title, const char* text);

/* Sets the number of steps done, at most the total. A value smaller than an earlier
 * one, or a negative one, is ignored. */
TARNAPI void UpdateProgressDialog(int value);

/* Closes the dialog, if there is one, and resets the counts to -1. */
TARNAPI void CloseProgressDialog(void);

/* Sets the counts, which the window shows from its next update on if one of them
 * is above 0. A count of 0 is left out. Set all three together: one that is
 * still -1 is shown as -1. */
TARNAPI void SetErrorCounters(int errors, int warnings, int comments);

/* ---- Parts ---------------------------------------------------------------- */

/* Writes the counts as the window does, such as "2 errors, 1 warning", with a
 * NUL; if all are 0 nothing is written, not even the NUL. `destination` needs room
 * for 63 bytes. Result: the length without the NUL. */
TARNAPI int MakeErrorReportLine(char* destination, int errors, int warnings, int comments);

/* Writes "VALUE WORD", with an 's' after it unless the value is 1, and a NUL:
 * at most 13 bytes more than the word's. Result: the address of the NUL. */
TARNAPI char* add_int_and_string(char* destination, int value, const char* word);

/* Creates an auto-reset event, not signalled, that child processes may inherit;
 * with a null `name` it has no name. -1 on failure, and on Linux for every name. */
TARNAPI void* CreateNamedEvent(const char* name);

TARN_API_END

#endif
