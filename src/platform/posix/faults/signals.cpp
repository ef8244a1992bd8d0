// Signals as the platform's exceptions: the vectored handlers are called in
// order, with the records that fault_records.h makes of the signal, and a
// context that one of them changed takes effect. If all pass the exception on,
// the signal has the effect it had before the first handler was added.

#include <errno.h>
#include <sched.h>
#include <signal.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/faults/exceptions.h"
#include "platform/posix/faults/fault_records.h"
#include "platform/posix/terminal/terminal.h"
#include "platform/posix/threads/threads.h"

namespace tarn::platform {
namespace {

// ---- Handlers ---------------------------------------------------------------

// The platform's list, as two tables: handlers called first, newest to oldest,
// then handlers called last, oldest to newest. A place of the table is the handle;
// one that was removed is null. Readers take no lock.
constexpr int kMaxHandlers = 64;
VectoredHandler first_handlers[kMaxHandlers];
VectoredHandler last_handlers[kMaxHandlers];
int first_used, last_used;  // places ever taken
bool table_held;

void hold_table() {
  while (__atomic_test_and_set(&table_held, __ATOMIC_ACQUIRE)) sched_yield();
}

void release_table() { __atomic_clear(&table_held, __ATOMIC_RELEASE); }

// In the order of the calls.
VectoredHandler* place_of(int i) {
  return i < kMaxHandlers ? &first_handlers[kMaxHandlers - 1 - i]
                          : &last_handlers[i - kMaxHandlers];
}

// ---- A signal ---------------------------------------------------------------

constexpr int kFaultSignalCount = sizeof kFaultSignals / sizeof *kFaultSignals;
struct sigaction earlier_actions[kFaultSignalCount];

// Lets the signal have its earlier effect. A fault happens again on return, at
// the same instruction; a signal that would not is sent again.
void pass_on(int number, bool fault) {
  restore_terminal();  // most often the process ends here
  for (int i = 0; i < kFaultSignalCount; ++i) {
    if (kFaultSignals[i] == number) sigaction(number, &earlier_actions[i], nullptr);
  }
  if (!fault || number == SIGTRAP) {
    syscall(SYS_tgkill, getpid(), syscall(SYS_gettid), number);
  }
}

thread_local sigjmp_buf* recovery_point;

// A program that turned alignment checks on loses them at the first fault and
// goes on, as on the system it was compiled for. The flag is still set here, so
// it is cleared before anything else is done.
bool drop_alignment_checks(ucontext_t* signal) {
  asm volatile(
      "lea -128(%%rsp), %%rsp\n\t"  // keeps clear of the red zone
      "pushfq\n\tandl $0xFFFBFFFF, (%%rsp)\n\tpopfq\n\t"
      "lea 128(%%rsp), %%rsp"
      :
      :
      : "memory", "cc");
  greg_t* const registers = signal->uc_mcontext.gregs;
  if (registers[REG_TRAPNO] != kAlignmentCheck) return false;
  registers[REG_EFL] &= ~greg_t{0x40000};
  return true;
}

void on_signal(int number, siginfo_t* info, void* machine_state) {
  if (drop_alignment_checks(static_cast<ucontext_t*>(machine_state))) return;
  if (recovery_point) siglongjmp(*recovery_point, 1);
  const int kept_errno = errno;
  auto* const signal = static_cast<ucontext_t*>(machine_state);
  // The kernel starts a handler with masked floating-point traps.
  AMD_CONTEXT context{};
  ExceptionRecord record{};
  take_context(*signal, &context);
  const bool fault = describe_fault(number, *info, *signal, &context, &record);
  record.address = reinterpret_cast<void*>(context.Rip);
  ExceptionPointers exception{&record, &context};
  if (fault && dispatch_exception(&exception)) {
    put_context(context, signal);
  } else {
    pass_on(number, fault);
  }
  errno = kept_errno;
}

// ---- Installation -----------------------------------------------------------

bool signals_installed;

bool install_signals() {
  if (signals_installed) return true;
  give_signal_stack();
  find_stack();
  struct sigaction action {};
  action.sa_sigaction = &on_signal;
  // A handler's own fault must reach the handlers again.
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  sigemptyset(&action.sa_mask);
  for (int i = 0; i < kFaultSignalCount; ++i) {
    if (sigaction(kFaultSignals[i], &action, &earlier_actions[i]) != 0) return false;
  }
  signals_installed = true;
  return true;
}

}  // namespace

std::int32_t ask_handlers(ExceptionPointers* exception) {
  const InFlight in_flight{exception->context, nullptr};
  const std::uint64_t arguments[] = {reinterpret_cast<std::uint64_t>(exception), 0, 0, 0};
  const int end = kMaxHandlers + __atomic_load_n(&last_used, __ATOMIC_ACQUIRE);
  for (int i = kMaxHandlers - __atomic_load_n(&first_used, __ATOMIC_ACQUIRE); i < end; ++i) {
    const VectoredHandler handler = __atomic_load_n(place_of(i), __ATOMIC_ACQUIRE);
    if (handler && tarn_call_in_flight(reinterpret_cast<Routine>(handler), &in_flight, arguments) ==
                       kContinueExecution) {
      return kContinueExecution;
    }
  }
  return kContinueSearch;
}

void set_recovery_point(sigjmp_buf* point) {
  if (!signals_installed) {
    hold_table();
    install_signals();
    release_table();
  }
  recovery_point = point;
}

void* AddVectoredExceptionHandler(std::uint32_t first, VectoredHandler handler) {
  if (!handler) return nullptr;
  hold_table();
  VectoredHandler* place = nullptr;
  if (install_signals()) {
    VectoredHandler* const table = first ? first_handlers : last_handlers;
    int used = kMaxHandlers;
    while (used > 0 && !table[used - 1]) --used;
    if (used < kMaxHandlers) {
      place = &table[used];
      int* const ever = first ? &first_used : &last_used;
      if (*ever <= used) __atomic_store_n(ever, used + 1, __ATOMIC_RELEASE);
      __atomic_store_n(place, handler, __ATOMIC_RELEASE);
    }
  }
  release_table();
  if (!place) SetLastError(kErrorNotEnoughMemory);
  return place;
}

std::uint32_t RemoveVectoredExceptionHandler(void* handler) {
  std::uint32_t removed = 0;
  hold_table();
  for (int i = 0; i < 2 * kMaxHandlers; ++i) {
    VectoredHandler* const place = place_of(i);
    if (place != handler || !*place) continue;
    __atomic_store_n(place, nullptr, __ATOMIC_RELEASE);
    removed = 1;
  }
  release_table();
  return removed;
}

}  // namespace tarn::platform
