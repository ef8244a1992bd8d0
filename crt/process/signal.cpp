// signal and raise for the six signals of ISO C, and SIGBREAK.
//
// A handler of a failure is called from the library's trap routines; it may leave by
// longjmp. If it returns, the instruction runs again, with the default in force, so that
// a failure that is still there is reported.
//
// Ctrl+C and Ctrl+Break arrive on a thread of the system's: the program goes on beside the
// handler. One that leaves by longjmp for the stack of another thread is reported.
#include <setjmp.h>
#include <signal.h>
#include <string.h>

#include "../crt.h"
#include "../errors/cells.h"
#include "../numbers/arithmetic.h"
#include "signals.h"

extern "C" {
[[noreturn]] void suite_text_error(const char* format, ...) __asm__("tarn_suite_text_error");
using TrapRoutine = int(void* context, EXCEPTION_RECORD* record, int);
TrapRoutine* set_trap_routine(const int* type,
                              TrapRoutine* routine) __asm__("tarn_suite_trap_exception");
extern char crt_stack_overflowed, crt_console_handler_runs;  // of longjmp
}

namespace {

// What a trap routine answers, and the types of trap, by the library's numbers.
constexpr int kResume = -1, kReport = 1;
constexpr int kAllTraps = 12, kAllFloatTraps = 13;

struct Signal {
  int number;
  const char* name;
  __p_sig_fn_t handler;  // null: the default
};

Signal signals[] = {
    {SIGINT, "Interrupt", nullptr},
    {SIGILL, "Illegal instruction", nullptr},
    {SIGFPE, "Arithmetic exception", nullptr},
    {SIGSEGV, "Access violation", nullptr},
    {SIGTERM, "Termination", nullptr},
    {SIGBREAK, "Ctrl-Break", nullptr},
    {SIGABRT, "Abnormal end", nullptr},
};

Signal* find(int number) {
  if (number == SIGABRT_COMPAT) number = SIGABRT;
  for (Signal& signal : signals) {
    if (signal.number == number) return &signal;
  }
  return nullptr;
}

// Calls the handler, with the default in force. False if there is none.
bool deliver(Signal& signal) {
  const __p_sig_fn_t handler = signal.handler;
  if (handler == SIG_DFL || handler == SIG_IGN) return handler == SIG_IGN;
  signal.handler = SIG_DFL;
  handler(signal.number);
  return true;
}

int signal_of(DWORD code) {
  switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
    case EXCEPTION_IN_PAGE_ERROR:
    case EXCEPTION_STACK_OVERFLOW:
      return SIGSEGV;
    case EXCEPTION_ILLEGAL_INSTRUCTION:
    case EXCEPTION_PRIV_INSTRUCTION:
      return SIGILL;
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
    case EXCEPTION_INT_OVERFLOW:
    case EXCEPTION_FLT_DENORMAL_OPERAND:
    case EXCEPTION_FLT_DIVIDE_BY_ZERO:
    case EXCEPTION_FLT_INEXACT_RESULT:
    case EXCEPTION_FLT_INVALID_OPERATION:
    case EXCEPTION_FLT_OVERFLOW:
    case EXCEPTION_FLT_STACK_CHECK:
    case EXCEPTION_FLT_UNDERFLOW:
      return SIGFPE;
    default:
      return 0;
  }
}

// A run-time error of the library, which is an instruction that user mode may not
// execute, is reported: no failure of memory.
bool is_raised_number(const EXCEPTION_RECORD& record) {
  constexpr unsigned char kTrap[] = {0xCD, 0x09};
  return record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION &&
         record.ExceptionInformation[1] == ~ULONG_PTR{0} &&
         memcmp(record.ExceptionAddress, kTrap, sizeof kTrap) == 0;
}

void (*last_act)();
TrapRoutine* earlier;  // of an image that was loaded before

int on_failure(void* context, EXCEPTION_RECORD* record, int number) {
  if (record->ExceptionCode == EXCEPTION_STACK_OVERFLOW) crt_stack_overflowed = 1;
  Signal* const signal =
      is_raised_number(*record) ? nullptr : find(signal_of(record->ExceptionCode));
  if (signal && signal->handler != SIG_IGN && deliver(*signal)) return kResume;
  if (last_act) last_act();
  return earlier ? earlier(context, record, number) : kReport;
}

void watch_failures() {
  static bool watching;
  if (watching) return;
  watching = true;
  earlier = set_trap_routine(&kAllTraps, on_failure);
  set_trap_routine(&kAllFloatTraps, on_failure);
}

DWORD console_thread;

// TRUE: dealt with. Otherwise the system ends the process.
BOOL WINAPI on_console_event(DWORD event) {
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
  int cell = 0;
  crt::use_cell(&cell);
  crt::set_arithmetic();
  console_thread = GetCurrentThreadId();
  crt_console_handler_runs = 1;
  const bool delivered = deliver(*find(event == CTRL_C_EVENT ? SIGINT : SIGBREAK));
  crt_console_handler_runs = 0;
  crt::use_cell(nullptr);
  return delivered;
}

void watch_console() {
  static bool watching;
  if (watching) return;
  watching = true;
  crt::begin_threads();
  SetConsoleCtrlHandler(on_console_event, TRUE);
}

}  // namespace

// Called by longjmp while a handler of the console's signals runs.
CRT_API void crt_check_jump(const _JUMP_BUFFER* place) {
  ULONG_PTR low, high;
  if (GetCurrentThreadId() != console_thread) return;
  GetCurrentThreadStackLimits(&low, &high);
  if (place->Rsp >= low && place->Rsp < high) return;
  suite_text_error("longjmp out of a handler of SIGINT, which runs on a thread of its own");
}

void crt::deliver_abort() { deliver(*find(SIGABRT)); }

void crt::before_report(void (*routine)()) {
  last_act = routine;
  watch_failures();
}

CRT_API __p_sig_fn_t signal(int number, __p_sig_fn_t handler) {
  Signal* const signal = find(number);
  if (!signal) {
    errno = EINVAL;
    return SIG_ERR;
  }
  const __p_sig_fn_t before = signal->handler;
  signal->handler = handler;
  if (handler != SIG_DFL && (number == SIGINT || number == SIGBREAK)) {
    watch_console();
  } else if (handler != SIG_DFL && (number == SIGSEGV || number == SIGILL || number == SIGFPE)) {
    watch_failures();
  }
  return before;
}

// The default of an interruption and a termination ends the process with status 3;
// that of a failure is the report.
CRT_API int raise(int number) {
  Signal* const signal = find(number);
  if (!signal) return crt::fail_with(EINVAL);
  if (deliver(*signal)) return 0;
  if (number == SIGINT || number == SIGTERM || number == SIGBREAK) ExitProcess(3);
  suite_text_error("%s (raise)", signal->name);
}
