#include "failure/exception_handler.h"

#include "failure/divide_error.h"
#include "failure/error_message.h"
#include "failure/exception_table.h"
#include "failure/floating_point_traps.h"
#include "failure/report.h"
#include "failure/safe_memory.h"
#include "failure/saved_reports.h"
#include "failure/traceback.h"
#include "failure/trap_routines.h"
#include "paneview/paneview.h"
#include "platform/paths.h"
#include "process/process_state.h"
#include "process/raising.h"
#include "storage/expanding_region.h"
#include "streams/file_stream.h"
#include "streams/format.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

bool is_access_violation(const platform::ExceptionRecord& record) {
  return record.code == platform::kExceptionAccessViolation && record.parameter_count >= 2;
}

constexpr std::uint16_t kTrapBytes = 0x09CD;  // `int 9`, as a word
constexpr std::uint8_t kBreakpointByte = 0xCC;
constexpr std::uint32_t kErrorSeverity = 0x80000000;
constexpr std::uint32_t kStatusFailed = 1;
constexpr std::uint32_t kPathSize = 1024;
constexpr char kHeading[] = "Brackenmoor exception report on ";

// The two square roots of SSE: sqrtss, sqrtsd.
constexpr instruction_head kSquareRoots[] = {
    {{0xF3, 0x0F, 0x51}, 3, 1},
    {{0xF2, 0x0F, 0x51}, 3, 1},
};

// The script engine of a browser in the process converts values that do not
// fit, and expects the trap to be stepped over.
constexpr char kScriptEngine[] = "jscript9.dll";
constexpr std::uint32_t kConvertToEcx = 0xC92C0FF2;  // cvttsd2si ecx, xmm1

// A damaged stack may lead from silent frame to silent frame for ever.
constexpr int kMostSilentSteps = 100;

// Static, for the faulting stack may have little room; the report has one
// thread. The second holds a description that outlives the first.
char message[kMessageSize];
char second_message[kRuntimeMessageSize];
char traceback[kTracebackSize];
char title[sizeof kHeading + kPathSize];
platform::ExceptionPointers reported;

std::int32_t leave(std::int32_t result) {
  report_busy = 0;
  return result;
}

void compose_title() {
  char* const path = stpcpy(title, kHeading);
  const std::uint32_t length = platform::GetModuleFileNameA(nullptr, path, kPathSize);
  path[length < kPathSize ? length : kPathSize - 1] = '\0';
  const char* const name = platform::base_name(path);
  memmove(path, name, strlen(name) + 1);
}

// The MXCSR keeps a flag for each exception that it has seen. The flag of one
// that was handled is cleared, or the next trap would be taken for it.
void clear_trapped_flags(platform::AMD_CONTEXT* context) {
  constexpr std::size_t kFxSaveMxcsr = 24;
  constexpr std::uint32_t kFlags = 0x3F;
  context->MxCsr &= ~(kFlags & ~(context->MxCsr >> 7));
  __builtin_memcpy(context->FxSaveArea + kFxSaveMxcsr, &context->MxCsr, sizeof context->MxCsr);
}

// The result of the row's trap routine; TARN_REPORT if there is none.
std::int32_t ask_trap_routine(const exception_row& row, platform::ExceptionPointers* exception) {
  TrapRoutine routine = row.handler;
  if (!routine && (row.flags & kFloatingPointException)) routine = float_trap;
  if (!routine) routine = catch_all_trap;
  if (!routine) return TARN_REPORT;
  const std::int32_t answer = call_trap_routine(routine, exception);
  if (answer == TARN_RESUME) {
    std::uint64_t& rip = exception->context->Rip;
    if (static_cast<std::uint8_t>(safe_core1(rip)) == kBreakpointByte) ++rip;
    if (row.flags & kFloatingPointException) clear_trapped_flags(exception->context);
  }
  return answer;
}

// Prints one line on standard output; by the process's own handle if the
// program has closed the stream, as printf would then raise an error.
void print_line(const char* text) {
  FILE own{kFileMagic, reinterpret_cast<platform::Handle>(runtime_cell(kCellOutputHandle)), 0, 0};
  FILE* const stream = standard_stream(kCellStdout);
  fprintf(stream && stream->magic == kFileMagic ? stream : &own, "%s\n", text);
}

void walk_back(const platform::ExceptionPointers& exception) {
  static platform::AMD_CONTEXT copy;
  traceback[0] = '\0';
  if (no_traceback) return;
  copy = *exception.context;
  leave_wild_call(*exception.record, &copy);
  char* end = traceback;
  reported_frame_count = 0;
  int silent = 0;
  for (int step = 0; step < kTracebackSteps + (walk_is_hosted ? silent : 0); ++step) {
    const std::int32_t more = trace_back_once(platform::GetCurrentProcess(), end, &copy);
    if (*end == '\0' && silent < kMostSilentSteps) ++silent;
    while (*end) ++end;
    if (shown_frame.image && reported_frame_count < kTracebackSteps) {
      reported_frames[reported_frame_count++] = shown_frame;
    }
    if (!more) break;
  }
}

// Prints the report that failed on standard error: without the system's walker,
// names and windows, for these need the heap, which may be what the program has
// damaged.
void tell_unseen_report() {
  FILE own{kFileMagic, platform::GetStdHandle(platform::kStandardError), 0, 0};
  hide_control_characters(title);
  hide_control_characters(second_message);
  fprintf(&own, "\n%s\n%s at address %llx\n\n", title, exception_name, reported.context->Rip);
  if (!traceback_text) {
    begin_traceback(true);
    hide_library_frames = is_raised_number(reported);
    walk_back(reported);
  }
  hide_control_characters(traceback);
  fputs(traceback, &own);
}

// A failure inside the report: whatever it was, the process ends.
[[noreturn]] void fail_in_report(const platform::ExceptionPointers& exception) {
  static std::int32_t told;  // a step that fails is not tried again
  if (told == 0) {
    told = 1;
    if (!report_shown && reported.record) tell_unseen_report();
  }
  if (told == 1) {
    told = 2;
    char line[64];
    sprintf(line, "Exception %llx  %x", exception.context->Rip, exception.record->code);
    print_line(line);
  }
  if (told == 2) {
    told = 3;
    platform::MessageBoxA(nullptr, "Brackenmoor exception handler has failed", "Fatal error!", 0);
  }
  platform::ExitProcess(kStatusFailed);
}

// The page of the address that could not be accessed.
std::uint64_t page_of_fault(const platform::ExceptionRecord& record) {
  return record.parameters[1] / page_size * page_size;
}

// Describes the failure by the region that the access ran off, if there is one.
void name_region(std::uint64_t address) {
  const char* name = nullptr;
  const char* const description = describe_region_overrun(address, &name);
  if (!description) return;
  const Slot slot = reinterpret_cast<Slot>(name);
  format_bounded(second_message, sizeof second_message, description, &slot);
  exception_name = second_message;
}

bool is_script_engine_conversion(std::uint64_t rip) {
  platform::Module module = nullptr;
  return static_cast<std::uint32_t>(safe_core4(rip)) == kConvertToEcx &&
         platform::GetModuleHandleExA(platform::kModuleFromAddress,
                                      reinterpret_cast<const void*>(rip), &module) &&
         module && module == platform::GetModuleHandleA(kScriptEngine);
}

// Heads the report of `reported`: its name, or what is known better.
void describe(const char* name) {
  const platform::ExceptionRecord& record = *reported.record;
  exception_context = reported.context;
  exception_record = reported.record;
  sprintf(message, "%s (%x)", name, record.code);
  strcpy(second_message, message);
  exception_name = second_message;
  if (is_raised_number(reported)) {
    hide_library_frames = 1;
    compose_error_message(*reported.context, message);
    strcpy(second_message, message);
  }
  if (is_access_violation(record)) name_region(page_of_fault(record));
  if (record.code == platform::kExceptionInvalidOperation) {
    for (const instruction_head& root : kSquareRoots) {
      if (match_instruction(&root, reported.context->Rip)) {
        exception_name = "Negative argument to square root";
      }
    }
  }
}

void walk_and_save() {
  begin_traceback(false);  // the program may have walked before
  walk_back(reported);
  traceback_text = traceback;
  save_report();
}

// Result: false if nobody saw it.
bool show() {
  walk_and_save();
  sprintf(message, "%llx", reported.context->Rip);
  const bool seen = show_report(title, message, traceback);
  paneview::__close_all_windows();
  return seen;
}

}  // namespace

std::int32_t report_busy;
std::int32_t reports_failures;

bool is_raised_number(const platform::ExceptionPointers& exception) {
  if (exception.record->code != platform::kExceptionAccessViolation) return false;
  std::uint16_t bytes = 0;
  safe_memory_read(exception.context->Rip, &bytes, sizeof bytes);
  return bytes == kTrapBytes;
}

void leave_wild_call(const platform::ExceptionRecord& record, platform::AMD_CONTEXT* context) {
  if (!is_access_violation(record) || record.parameters[1] != context->Rip) return;
  context->Rip = safe_core8(context->Rsp);
  context->Rsp += 8;
  context->ContextFlags |= platform::kContextAtCall;
}

extern "C" void __install_system_exception_handler() {
  std::uint32_t reserve = kHandlerStack;
  compose_title();  // the system may need the heap for the name, which a failure may have hurt
  platform::AddVectoredExceptionHandler(0, &__system_exception_handler);
  reports_failures = 1;
  platform::SetThreadStackGuarantee(&reserve);
}

extern "C" TARN_MACHINERY std::int32_t __system_exception_handler(
    platform::ExceptionPointers* exception) {
  if (dump_busy) return TARN_PASS_ON;
  const MaskedTraps own;  // the context keeps the program's control
  platform::AMD_CONTEXT* const context = exception->context;
  std::uint32_t& code = exception->record->code;
  if (code == platform::kExceptionIntegerDivideByZero && is_divide_overflow(*context)) {
    code = platform::kExceptionIntegerOverflow;
  }
  // What a trap routine may show; of several threads at once, one has its way.
  if (!report_busy) __atomic_store_n(&exception_context, context, __ATOMIC_RELAXED);
  const char* name = "Unknown exception";
  if (const exception_row* const row = find_exception(code)) {
    const std::int32_t answer = ask_trap_routine(*row, exception);
    if (answer == TARN_RESUME || answer == TARN_PASS_ON || answer == TARN_NOT_AN_ERROR) {
      return leave(answer);
    }
    name = row->name;
  }
  if (!(code & kErrorSeverity)) return leave(TARN_NOT_AN_ERROR);
  const bool is_access = is_access_violation(*exception->record);
  if (is_access && grow_expanding_region(page_of_fault(*exception->record))) return TARN_RESUME;
  if (__atomic_exchange_n(&report_busy, 1, __ATOMIC_ACQ_REL)) fail_in_report(*exception);

  reported = *exception;
  describe(name);
  if (code == platform::kExceptionInvalidOperation && is_script_engine_conversion(context->Rip)) {
    context->Rip += sizeof kConvertToEcx;
    return leave(TARN_RESUME);
  }
  if (kill_dialogbox) {
    print_line(message);
    if (saves_reports()) walk_and_save();
    platform::ExitProcess(kStatusFailed);
  }
  const bool seen = show();
  platform::ExitProcess(seen ? 0 : kStatusFailed);
}

TARN_MACHINERY void report_for_others(platform::ExceptionPointers* exception, const char* text) {
  const MaskedTraps own;
  if (__atomic_exchange_n(&report_busy, 1, __ATOMIC_ACQ_REL)) fail_in_report(*exception);
  const exception_row* const row = find_exception(exception->record->code);
  reported = *exception;
  describe(row ? row->name : "Unknown exception");
  if (text) {
    strncpy(second_message, text, sizeof second_message - 1);
    strcpy(message, second_message);
    exception_name = second_message;
  }
  if (kill_dialogbox) {
    print_line(message);
    if (saves_reports()) walk_and_save();
  } else {
    show();
  }
}

TARN_MACHINERY void fail_report_for_others(platform::ExceptionPointers* exception) {
  if (dump_busy) return;
  const MaskedTraps own;
  fail_in_report(*exception);
}

void begin_reports_for_others() {
  compose_title();
  reports_failures = 1;
}

TARN_MACHINERY std::int32_t match_instruction(const instruction_head* pattern,
                                              std::uint64_t address) {
  std::uint8_t code[24];
  safe_memory_read(address, code, sizeof code);
  const auto is_rex = [](std::uint8_t byte) { return (byte & 0xF0) == 0x40; };
  const std::uint8_t* start = code;
  if (pattern->rex_allowed) {
    if (is_rex(code[0])) {
      start = code + 1;
    } else if (code[0] == 0xF2 && is_rex(code[1])) {
      code[1] = code[0];
      start = code + 1;
    }
  }
  for (std::int32_t i = 0; i < pattern->count; ++i) {
    if (start[i] != pattern->bytes[i]) return 0;
  }
  return 1;
}

}  // namespace tarn
