// Tests of what ends a program: run-time errors and faults, caught in process.
//
// A raised number is the trap `int 9` with the number in rax and the texts of
// %1 to %6 in r8 to r13. A vectored handler that is called before all others
// keeps them and resumes behind the call; the frames in between are abandoned,
// so their destructors do not run. Calls may be nested, and every thread may
// make them.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

namespace tarn::test {

// Brings the library up, once.
void initialise();

struct Raised {
  std::int64_t number = -1;  // -1: nothing was raised
  std::string text[6];       // %1 to %6; empty where the register leads to no text
};

struct Fault {
  bool faulted = false;
  std::uint32_t code = 0;
  std::uint64_t access = 0;       // of an access violation: 0 read, 1 write, 8 execute
  std::uint64_t address = 0;      // of an access violation: the address accessed
  std::uint64_t instruction = 0;  // where it happened
};

// Behind the templates below.
using GuardedCall = void (*)(void* argument);
Raised run_until_raised(GuardedCall call, void* argument);
Fault run_until_fault(GuardedCall call, void* argument);

// The number that `f` raises. A fault of another kind is not caught.
template <class F>
Raised raised_by(F&& f) {
  return run_until_raised(
      [](void* argument) { (*static_cast<std::remove_reference_t<F>*>(argument))(); }, &f);
}

// The first exception in `f`, of whatever kind; a raised number counts as the
// access violation that it is.
template <class F>
Fault fault_by(F&& f) {
  return run_until_fault(
      [](void* argument) { (*static_cast<std::remove_reference_t<F>*>(argument))(); }, &f);
}

}  // namespace tarn::test
