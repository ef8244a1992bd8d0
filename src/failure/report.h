// The report of a failure: the dialog, its buttons, the saved file, and the
// dumps that a debugger may ask for.
//
// State: what is being reported, below. The exception handler fills it before
// it calls show_report, exception_context before it asks the trap routines;
// nothing is locked, and the process does not go on.
#pragma once

#include "failure/traceback.h"
#include "platform/platform.h"

namespace tarn {

inline constexpr std::uint64_t kMessageSize = 10'000;
inline constexpr std::uint64_t kTracebackSize = 50'000;

// Non-zero while write_exception runs: the handler then declines every exception.
extern std::int32_t dump_busy;
// Of the exception being handled; once a report has begun, of that report's.
extern platform::AMD_CONTEXT* exception_context;
// The reported exception; null until a report has begun.
extern const platform::ExceptionRecord* exception_record;
// What heads the report.
extern const char* exception_name;
extern const char* traceback_text;
// The frames of traceback_text that have a routine of an image's table.
inline constexpr int kTracebackSteps = 10;
extern ShownFrame reported_frames[kTracebackSteps];
extern int reported_frame_count;
// Set if the process is one of a parallel task.
extern std::int32_t parallel_report;
// The edit box of the dialog, while it is shown; null where there are no windows.
extern void* report_edit_control;
// Stays null: the report has no owner.
extern void* report_owner_window;

// Set once the dialog, or its text, is before the user.
extern std::int32_t report_shown;

// Shows the dialog until the user quits. `traceback` has kTracebackSize bytes.
// Result: false if nobody was there to see it, or it could not be written.
bool show_report(const char* title, const char* address, char* traceback);

// Saves the report where the user wants all of them (failure/saved_reports.h). If that
// fails, one line on standard error says why. Called once a process.
void save_report();

// ---- The dialog's callbacks: result 0 closes it ------------------------------

// Asks for a file name and writes the whole report there: heading, description,
// traceback, registers, instruction, further details. A link is not followed. A file that
// cannot be written whole is deleted, with a message, and the dialog stays.
TARNAPI std::int32_t write_exception();
// The registers, the instruction, further details.
TARNAPI std::int32_t details_box();
// Also stops the other processes of a parallel task.
TARNAPI std::int32_t process_quit();
TARNAPI std::int32_t start_window();

// ---- Dumps --------------------------------------------------------------------

// Writes the registers of the exception and its instruction, at most
// kRegisterDetailsSize bytes. Masks the floating-point traps of the thread.
inline constexpr std::uint64_t kRegisterDetailsSize = 2'048;
TARNAPI void prepare_register_details(char* text);

// Prints memory on standard output: unit size 1 in rows of 16 bytes, 4 a word a
// line, any other nothing. What cannot be read shows as F0.
TARNAPI void dump_local_memory(const void* start, std::int32_t count, std::int32_t unit_size);

// Takes the two top values off the x87 stack and ends in error 29: the routine
// that would print them is not supplied.
TARNAPI void AmdDumpRegisters();

// Ends the calling thread.
TARNAPI void __close_thread();

}  // namespace tarn
