// tarnreport.o: what is linked into a program that keeps its own C run-time, so that its
// failures end in the library's report. docs/report-for-mingw.md is its manual.
//
// At the start it loads TARNLIBC64.DLL from the folder of the image that it is part of,
// or from the program's, and from nowhere else; without the library the program runs as
// it would without this object. Four things lead here:
//   an exception that nobody handled: the system calls its last filter, on_unhandled
//   abort, and with it a failed assert: the program's run-time raises SIGABRT
//   an uncaught C++ exception: the C++ run-time calls the terminate handler
//   an exhausted stack, at once: no handler could run on it
// A handler that the program installs itself for one of the first three replaces ours.
// After the report the process ends with the status that it would have had.
//
// It takes nothing from a C++ library: what the program has of one is found by weak
// references, or by name in its DLL.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// After it.
#include <signal.h>
#include <xmmintrin.h>

#include <exception>
#include <typeinfo>

#include "crt/cxx/readable_name.h"
#include "startup/reports_for_others.h"

extern "C" {
[[gnu::weak]] void _ZSt13set_terminatePFvvE();
[[gnu::weak]] void _ZSt9terminatev();
[[gnu::weak]] void _ZSt17rethrow_exceptionNSt15__exception_ptr13exception_ptrE();
[[gnu::weak]] void __cxa_throw();
[[gnu::weak]] void __cxa_rethrow();
[[gnu::weak]] void __cxa_call_terminate();
[[gnu::weak]] void __cxa_pure_virtual();
[[gnu::weak]] void __cxa_current_exception_type();
[[gnu::weak]] void __cxa_get_globals();
[[gnu::weak]] void __cxa_demangle();
[[gnu::weak]] extern const char _ZTISt9exception[];
[[gnu::weak]] void ___chkstk_ms();
}

namespace {

constexpr DWORD kStatusOfAbort = 3;  // what the run-time ends the process with
constexpr DWORD kSystemError = 0xC;  // the top four bits of a code
constexpr DWORD kOtherCxxException = 0xE06D7363;
constexpr DWORD kLongestPath = 32768;
constexpr std::uint64_t kHandoverStack = 64 * 1024;
constexpr SIZE_T kReportStack = 512 * 1024;
constexpr DWORD kThreadStartWait = 5000;  // milliseconds

const tarn::ReportsForOthers* reports;
LPTOP_LEVEL_EXCEPTION_FILTER previous_filter;
volatile LONG reporting_thread;
wchar_t path[kLongestPath];

// ---- The C++ run-time -------------------------------------------------------------

enum CxxName {
  kSetTerminate,
  kTerminate,
  kRethrowException,
  kThrow,
  kRethrow,
  kCallTerminate,
  kPureVirtual,
  kCurrentType,
  kGetGlobals,
  kDemangle,
  kExceptionType,
  kCxxNames
};

struct Linked {
  const char* name;
  const void* address;
};
#define LINKED(name) \
  { #name, reinterpret_cast < const void*>(&name) }
const Linked kLinked[kCxxNames] = {
    LINKED(_ZSt13set_terminatePFvvE),
    LINKED(_ZSt9terminatev),
    LINKED(_ZSt17rethrow_exceptionNSt15__exception_ptr13exception_ptrE),
    LINKED(__cxa_throw),
    LINKED(__cxa_rethrow),
    LINKED(__cxa_call_terminate),
    LINKED(__cxa_pure_virtual),
    LINKED(__cxa_current_exception_type),
    LINKED(__cxa_get_globals),
    LINKED(__cxa_demangle),
    LINKED(_ZTISt9exception),
};

const void* find(CxxName which) {
  static const char* const kLibraries[] = {"libstdc++-6.dll", "libc++.dll"};
  for (const char* const library : kLibraries) {
    const HMODULE module = GetModuleHandleA(library);
    const FARPROC found = module ? GetProcAddress(module, kLinked[which].name) : nullptr;
    if (found) return reinterpret_cast<const void*>(found);
  }
  return kLinked[which].address;
}

template <class Routine>
Routine* routine(CxxName which) {
  return reinterpret_cast<Routine*>(const_cast<void*>(find(which)));
}

// In front of each object that GCC's run-time throws.
struct ThrownHeader {
  const void* type;  // of an exception that was thrown again: the first header's object
  void* before_unwind[9];
  std::uint64_t exception_class;
  void* rest_of_unwind[7];
};
static_assert(sizeof(ThrownHeader) == 144);

constexpr std::uint64_t kGccClass = 0x474E5543432B2B;  // "GNUCC++"

// The object of the exception that is being handled; null if the run-time is another.
void* thrown_object() {
  auto* const globals = routine<ThrownHeader**()>(kGetGlobals);
  if (!globals) return nullptr;
  ThrownHeader* const header = *globals();
  if (!header || header->exception_class >> 8 != kGccClass) return nullptr;
  const bool again = (header->exception_class & 0xFF) != 0;
  return again ? const_cast<void*>(header->type) : header + 1;
}

// Its own text, if its type is derived from std::exception.
const char* text_of_exception(const std::type_info* type) {
  const auto* const base = static_cast<const std::type_info*>(find(kExceptionType));
  void* object = thrown_object();
  if (!base || !object || !base->__do_catch(type, &object, 1)) return nullptr;
  return static_cast<const std::exception*>(object)->what();
}

struct Text {
  char characters[1000];
  unsigned length = 0;

  void add(const char* text) {
    while (*text && length < sizeof characters - 1) characters[length++] = *text++;
    characters[length] = '\0';
  }
};
Text uncaught;

// What heads the report of an uncaught exception.
void describe_exception() {
  auto* const current = routine<const std::type_info*()>(kCurrentType);
  const std::type_info* const type = current ? current() : nullptr;
  if (current && !type) return uncaught.add("std::terminate was called");
  uncaught.add("Uncaught C++ exception");
  if (!type) return;
  auto* const demangle = routine<char*(const char*, char*, size_t*, int*)>(kDemangle);
  const char* const name = type->name();
  char* const readable = demangle ? demangle(name, nullptr, nullptr, nullptr) : nullptr;
  if (readable) crt::make_readable(readable);
  uncaught.add(" ");
  uncaught.add(readable ? readable : name);
  if (const char* const text = text_of_exception(type)) {
    uncaught.add(": ");
    uncaught.add(text);
  }
}

// ---- Where it happened ------------------------------------------------------------

struct Frame {
  const void* routine;  // its first byte; null of a leaf
  HMODULE module;
};

// Makes `context` the caller's; returns what was left.
Frame step(CONTEXT* context) {
  DWORD64 base = 0;
  RUNTIME_FUNCTION* const entry = RtlLookupFunctionEntry(context->Rip, &base, nullptr);
  const Frame left = {entry ? reinterpret_cast<const void*>(base + entry->BeginAddress) : nullptr,
                      reinterpret_cast<HMODULE>(base)};
  if (entry) {
    void* data = nullptr;
    DWORD64 frame = 0;
    RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context->Rip, entry, context, &data, &frame, nullptr);
  } else {
    context->Rip = *reinterpret_cast<const DWORD64*>(context->Rsp);
    context->Rsp += 8;
  }
  return left;
}

HMODULE module_of(DWORD64 address) {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<const wchar_t*>(address), &module);
  return module;
}

bool is_cxx_machinery(const Frame& frame) {
  constexpr CxxName kMachinery[] = {kTerminate, kRethrowException, kThrow,
                                    kRethrow,   kCallTerminate,    kPureVirtual};
  for (const CxxName name : kMachinery) {
    if (frame.routine && frame.routine == find(name)) return true;
  }
  const HMODULE library = GetModuleHandleA("libstdc++-6.dll");
  return library && frame.module == library;
}

// From the terminate handler to the frame that threw: after the outermost routine of
// the C++ run-time among the first, since the unwinder itself may have called it.
void leave_cxx_machinery(CONTEXT* context) {
  constexpr int kSteps = 30;
  CONTEXT walk = *context;
  step(&walk);
  *context = walk;
  for (int i = 0; i < kSteps && module_of(walk.Rip); ++i) {
    if (is_cxx_machinery(step(&walk))) *context = walk;
  }
}

// From the handler of SIGABRT to abort's caller: past the module that raised it.
void leave_run_time(CONTEXT* context) {
  constexpr int kSteps = 10;
  step(context);
  const HMODULE run_time = module_of(context->Rip);
  if (run_time == module_of(reinterpret_cast<DWORD64>(&leave_run_time))) return;
  for (int i = 0; i < kSteps && module_of(context->Rip) == run_time; ++i) step(context);
}

// ---- Reports ------------------------------------------------------------------------

// Exceptions of the thread that makes the report are the report's own.
LONG CALLBACK on_fault_in_report(EXCEPTION_POINTERS* exception) {
  const bool own = static_cast<LONG>(GetCurrentThreadId()) == reporting_thread;
  if (own && exception->ExceptionRecord->ExceptionCode >> 28 == kSystemError) {
    reports->fail(reinterpret_cast<tarn::platform::ExceptionPointers*>(exception));
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

struct {
  EXCEPTION_POINTERS* exception;
  const char* text;
  volatile LONG begun;
} failure;

DWORD WINAPI make_report(void*) {
  if (InterlockedExchange(&failure.begun, 1) != 0) return 0;
  reporting_thread = static_cast<LONG>(GetCurrentThreadId());
  AddVectoredExceptionHandler(1, on_fault_in_report);
  reports->report(reinterpret_cast<tarn::platform::ExceptionPointers*>(failure.exception),
                  failure.text);
  return 0;
}

// On a thread of its own: the program's windows get no messages while the report is
// shown, and it has a stack. That thread cannot start while this one is within the
// system's loader, as a DLL is that is being loaded.
DWORD WINAPI make_report_on_thread(void*) {
  const HANDLE thread = CreateThread(nullptr, kReportStack, make_report, nullptr,
                                     STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
  if (thread) WaitForSingleObject(thread, kThreadStartWait);
  if (thread && failure.begun) WaitForSingleObject(thread, INFINITE);
  return make_report(nullptr);
}

// Of two threads that fail the second waits until the process ends.
void begin_report(EXCEPTION_POINTERS* exception, const char* text) {
  const LONG own = static_cast<LONG>(GetCurrentThreadId());
  const LONG other = InterlockedCompareExchange(&reporting_thread, own, 0);
  if (other == own) reports->fail(reinterpret_cast<tarn::platform::ExceptionPointers*>(exception));
  if (other != 0) Sleep(INFINITE);
  failure.exception = exception;
  failure.text = text;
}

// Returns after the process's one report.
void report(EXCEPTION_POINTERS* exception, const char* text) {
  begin_report(exception, text);
  make_report_on_thread(nullptr);
}

void report_here(CONTEXT* context, const char* text) {
  EXCEPTION_RECORD record = {};
  EXCEPTION_POINTERS exception = {&record, context};
  record.ExceptionAddress = reinterpret_cast<void*>(context->Rip);
  report(&exception, text);
}

[[noreturn]] void end_process(DWORD status) {
  TerminateProcess(GetCurrentProcess(), status);
  __builtin_unreachable();
}

// ---- The three ways here ---------------------------------------------------------------

// The unwinder throws by an exception of the system, and goes on if nobody takes it.
bool is_gcc_exception(DWORD code) { return (code & 0x20FFFFFF) == 0x20474343; }

LONG WINAPI on_unhandled(EXCEPTION_POINTERS* exception) {
  const DWORD code = exception->ExceptionRecord->ExceptionCode;
  if (previous_filter && previous_filter(exception) == EXCEPTION_CONTINUE_EXECUTION) {
    return EXCEPTION_CONTINUE_EXECUTION;
  }
  if (is_gcc_exception(code)) return EXCEPTION_CONTINUE_EXECUTION;
  const char* text = uncaught.length > 0 ? uncaught.characters : nullptr;
  if (code == kOtherCxxException) text = "Uncaught C++ exception of another compiler (e06d7363)";
  report(exception, text);
  end_process(code);
}

// An exhausted stack has room neither for the search for handlers nor for starting a
// thread: that is done on this memory.
alignas(16) char handover_stack[kHandoverStack];

extern "C" void tarn_call_on_stack(void* top, LPTHREAD_START_ROUTINE routine);
__asm__(R"(
  .text
  .seh_proc tarn_call_on_stack
tarn_call_on_stack:
  pushq %rbp
  .seh_pushreg %rbp
  movq %rsp, %rbp
  .seh_setframe %rbp, 0
  .seh_endprologue
  leaq -32(%rcx), %rsp
  call *%rdx
  movq %rbp, %rsp
  popq %rbp
  ret
  .seh_endproc
)");

// The compiler's stack probe has no unwind data. Its first two instructions, of one byte
// each, push a register; then it reads the stack.
void leave_probe(CONTEXT* context) {
  constexpr DWORD64 kProbeSize = 48;
  const auto probe = reinterpret_cast<DWORD64>(&___chkstk_ms);
  if (!probe || context->Rip < probe || context->Rip - probe >= kProbeSize) return;
  const DWORD64 pushed = context->Rip - probe < 2 ? context->Rip - probe : 2;
  context->Rsp += sizeof(DWORD64) * pushed;
  context->Rip = *reinterpret_cast<const DWORD64*>(context->Rsp);
  context->Rsp += sizeof(DWORD64);
}

LONG CALLBACK on_stack_overflow(EXCEPTION_POINTERS* exception) {
  if (exception->ExceptionRecord->ExceptionCode != EXCEPTION_STACK_OVERFLOW) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  if (reporting_thread == static_cast<LONG>(GetCurrentThreadId())) {
    end_process(EXCEPTION_STACK_OVERFLOW);
  }
  begin_report(exception, nullptr);
  leave_probe(exception->ContextRecord);
  NT_TIB* thread;
  __asm__("movq %%gs:0x30, %0" : "=r"(thread));
  thread->StackLimit = handover_stack;
  thread->StackBase = handover_stack + kHandoverStack;
  tarn_call_on_stack(thread->StackBase, make_report_on_thread);
  end_process(EXCEPTION_STACK_OVERFLOW);
}

void on_abort(int) {
  CONTEXT context;
  RtlCaptureContext(&context);
  leave_run_time(&context);
  report_here(&context, "Abnormal end: abort was called");
}

using Handler = void (*)();
Handler previous_terminate;

void on_terminate() {
  const auto installed = signal(SIGABRT, on_abort);
  if (installed != on_abort) {
    signal(SIGABRT, installed);
    if (previous_terminate) previous_terminate();
    end_process(kStatusOfAbort);
  }
  CONTEXT context;
  RtlCaptureContext(&context);
  leave_cxx_machinery(&context);
  describe_exception();
  report_here(&context, uncaught.characters);
  end_process(kStatusOfAbort);
}

// ---- The start ---------------------------------------------------------------------------

// The library in the folder of the image, with what it needs.
HMODULE load_beside(HMODULE image) {
  constexpr wchar_t kName[] = L"TARNLIBC64.DLL";
  DWORD length = GetModuleFileNameW(image, path, kLongestPath);
  while (length > 0 && path[length - 1] != L'\\') --length;
  if (length == 0 || length + sizeof kName / sizeof *kName > kLongestPath) return nullptr;
  __builtin_memcpy(path + length, kName, sizeof kName);
  return LoadLibraryExW(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

// An image that is unloaded would leave its handlers behind.
void stay_loaded() {
  HMODULE module;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     reinterpret_cast<const wchar_t*>(&on_unhandled), &module);
}

// Before the program's own constructors.
[[gnu::constructor(101)]] void begin() {
  using Begin = const tarn::ReportsForOthers*();
  const DWORD error = GetLastError();
  const unsigned control = _mm_getcsr();  // the library's entry sets its own
  const HMODULE own = module_of(reinterpret_cast<DWORD64>(&begin));
  HMODULE library = load_beside(own);
  if (!library && own != GetModuleHandleW(nullptr)) library = load_beside(nullptr);
  if (library) {
    DisableThreadLibraryCalls(library);  // which would set it for each thread
    const FARPROC found =
        GetProcAddress(library, reinterpret_cast<const char*>(tarn::kBeginReportsOrdinal));
    reports = found ? reinterpret_cast<Begin*>(reinterpret_cast<void*>(found))() : nullptr;
  }
  _mm_setcsr(control);
  if (reports) {
    stay_loaded();
    AddVectoredExceptionHandler(0, on_stack_overflow);
    previous_filter = SetUnhandledExceptionFilter(on_unhandled);
    const auto installed = signal(SIGABRT, on_abort);
    if (installed != SIG_DFL) signal(SIGABRT, installed);
    if (auto* const set = routine<Handler(Handler)>(kSetTerminate)) {
      previous_terminate = set(on_terminate);
    }
  }
  SetLastError(error);
}

}  // namespace
