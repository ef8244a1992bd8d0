// A signal's machine state as the platform's records, and back. All may be called
// in a signal handler but find_first_stack.
#pragma once

#include <signal.h>
#include <ucontext.h>

#include "platform/platform.h"

namespace tarn::platform {

inline constexpr int kFaultSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};

// For the start of a thread: signals that are sent to the process stay with the
// program's threads, while the thread's own faults reach it.
inline void block_sent_signals(sigset_t* before) {
  sigset_t sent;
  sigfillset(&sent);
  for (const int fault : kFaultSignals) sigdelset(&sent, fault);
  pthread_sigmask(SIG_SETMASK, &sent, before);
}

// The processor's vector numbers, as the kernel puts them in REG_TRAPNO.
enum Vector : std::int64_t {
  kDivideError = 0,
  kDebug = 1,
  kBreakpoint = 3,
  kOverflow = 4,
  kBoundRange = 5,
  kInvalidOpcode = 6,
  kStackSegment = 12,
  kGeneralProtection = 13,
  kPageFault = 14,
  kX87Error = 16,
  kAlignmentCheck = 17,
  kSimdError = 19,
};

void take_context(const ucontext_t& from, AMD_CONTEXT* to);

// Of the flags, the MXCSR and the floating-point image only what a program may set.
void put_context(const AMD_CONTEXT& from, ucontext_t* to);

// Fills the record's code and parameters, and puts the context on the instruction;
// false for what is no fault of this thread's.
bool describe_fault(int number, const siginfo_t& info, const ucontext_t& signal,
                    AMD_CONTEXT* context, ExceptionRecord* record);

// Makes the calling thread's stack the one whose overflow is told, unless
// set_stack_low has named another.
void find_first_stack();

}  // namespace tarn::platform
