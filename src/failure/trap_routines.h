// Calls of the routines that programs install to be called before the report.
//
// A routine runs with the floating-point control of the program, on an empty x87
// stack. One that makes its own fault again is not entered a second time: that
// fault is reported. A routine may be left by a jump; then it no longer runs.
//
// State: a table of the routines that run, for all threads, without a lock.
#pragma once

#include "failure/exception_table.h"

namespace tarn {

// While it lives the calling thread has floating-point traps masked and an
// empty x87 stack, for the handler's own arithmetic; afterwards it has its
// earlier control.
class MaskedTraps {
 public:
  MaskedTraps();
  ~MaskedTraps();
  MaskedTraps(const MaskedTraps&) = delete;
  MaskedTraps& operator=(const MaskedTraps&) = delete;

 private:
  std::uint32_t mxcsr_;
  std::uint16_t x87_control_;
};

// The routine's result. TARN_REPORT, without a call, if the exception happened
// in this very routine on this thread.
std::int32_t call_trap_routine(TrapRoutine routine, platform::ExceptionPointers* exception);

// A jump of the calling thread, whose stack pointer is `from`, to the frame at
// `to`: the routines that it leaves no longer run. A stack overflow that one of
// them was called for is then over.
extern "C" void leave_trap_routines(std::uint64_t from,
                                    std::uint64_t to) __asm__("tarn_leave_trap_routines");

// The calling thread ends: no routine runs on it any more.
void end_trap_routines();

}  // namespace tarn
