// A signal of a fault as the platform's record. All may be called in a signal
// handler.
#pragma once

#include <setjmp.h>
#include <signal.h>
#include <ucontext.h>

#include "platform/platform.h"

namespace tarn::platform {

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

// Fills the record's code and parameters, and puts the context on the
// instruction; false if the signal is not a fault of this thread.
bool describe_fault(int number, const siginfo_t& info, const ucontext_t& signal,
                    AMD_CONTEXT* context, ExceptionRecord* record);

// While this is not null, a fault of this thread jumps to this place (set by
// sigsetjmp without the mask) and reaches no handler (signals.cpp).
void set_recovery_point(sigjmp_buf* point);

}  // namespace tarn::platform
