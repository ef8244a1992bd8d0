// A platform of which one operation can be made to fail, for executables whose
// link wraps the operations of platform_operations.inc: a call goes through a
// trampoline that counts it, and passes it on or gives what a failure gives.
// Nothing but the result and the thread's error code tells of a failure: cells
// that the call would have filled stay as they are.
#pragma once

#include <cstdint>

namespace tarn::test {

struct PlatformOperation {
  const char* name;
  std::uint64_t failure;  // what a failure gives
  std::uint32_t error;
  bool on_host;  // called by the library here
};
inline constexpr int kPlatformOperations = 0
#define OPERATION(name, link_name, failure, error) +1
#define NOT_ON_HOST OPERATION
#define CANNOT_FAIL(name)
#include "tests/unit/host/platform_operations.inc"
#undef OPERATION
#undef NOT_ON_HOST
#undef CANNOT_FAIL
    ;
extern const PlatformOperation platform_operations[kPlatformOperations];

struct Injection {
  bool armed;                 // calls are counted, and may fail
  int operation;              // the one that fails; -1: none
  std::uint32_t first, last;  // its calls that fail, counted from 1
  std::uint32_t failures;
  std::uint32_t calls[kPlatformOperations];
};

// Null: all calls are passed on.
extern Injection* injection;

}  // namespace tarn::test
