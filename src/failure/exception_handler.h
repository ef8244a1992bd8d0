// The process's one exception handler. Run-time errors and real faults both
// arrive here; the bytes of the trap at the instruction pointer distinguish
// them.
//
// It decides in a fixed order: a routine of exception_table, growth of an
// expanding region, the report. The process never goes on after a report.
//
// State: report_busy, and what failure/report.h holds. Nothing is locked:
// report_busy is the whole protection, so a second failure during a report, in
// it or on another thread, ends the process with status 1. Growth uses none of
// it: several threads may grow regions at once.
//
// Stack: about 8 kB before the dialog opens (the large buffers are static),
// kHandlerStack with it. Initialisation asks the system to keep that back on the
// first thread for the case of its overflow; on the host the handlers of the
// first thread have a stack of their own.
#pragma once

#include "platform/platform.h"

namespace tarn {

inline constexpr std::uint32_t kHandlerStack = 192 * 1024;

// Set from the decision to report.
extern std::int32_t report_busy;
// Set once the handler is installed: failures are reported.
extern std::int32_t reports_failures;

// Whether the exception is the trap by which a number is raised.
bool is_raised_number(const platform::ExceptionPointers& exception);

// After a call to an address without code, makes the context the caller's, from
// which a walk back can begin.
void leave_wild_call(const platform::ExceptionRecord& record, platform::AMD_CONTEXT* context);

// Opcode bytes to look for at an address, a REX prefix between them allowed.
struct instruction_head {
  std::uint8_t bytes[8];
  std::int32_t count;
  std::int32_t rex_allowed;
};

extern "C" {
// Adds the handler, to be called last of the vectored handlers. Part of
// initialisation, which calls it once.
TARNAPI void __install_system_exception_handler();

// Result: -1 (go on at the context's Rip), 0 (pass on) or 0x10002 (pass on:
// neither an error nor handled here). Runs on the faulting thread.
TARNAPI std::int32_t __system_exception_handler(platform::ExceptionPointers* exception);
}

// ---- Reports for programs that are not of the suite ----------------------------
// Their failures reach the library by another way than its handler:
// startup/reports_for_others.h. One report a process.

// From now on failures are reported; what heads the reports is settled.
void begin_reports_for_others();

// Reports the failure, headed by `text` if it is not null, and returns when the user
// has seen it, or it has been written.
TARNAPI void report_for_others(platform::ExceptionPointers* exception, const char* text);

// A failure within the report: what is known is written on standard error, and the
// process ends. Returns while the system asks for a file name, and may fail on its own.
TARNAPI void fail_report_for_others(platform::ExceptionPointers* exception);

// 1 if the code at `address` begins with the pattern. A REX prefix is skipped
// before the pattern, and between F2 and the rest; not after F3.
TARNAPI std::int32_t match_instruction(const instruction_head* pattern, std::uint64_t address);

}  // namespace tarn
