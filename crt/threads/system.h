// A routine of the system that the run-time defines, too: its own calls the system's.
#pragma once

#include "../crt.h"

namespace crt {

template <class Routine>
Routine* system_routine(const char* name) {
  return reinterpret_cast<Routine*>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("KERNEL32.DLL"), name)));
}

}  // namespace crt
