// What programs ask and tell a debugger. One of the host's traces the process, and
// does not take strings.

#include <stdio.h>

#include "platform/image_imports.h"

namespace tarn::platform {

Bool IsDebuggerPresent() {
  FILE* const status = fopen("/proc/self/status", "re");
  if (status == nullptr) return 0;
  int tracer = 0;
  char line[128];
  while (fgets(line, sizeof line, status) != nullptr) {
    if (sscanf(line, "TracerPid: %d", &tracer) == 1) break;
  }
  fclose(status);
  return tracer != 0 ? 1 : 0;
}

void OutputDebugStringA(const char*) {}
void OutputDebugStringW(const char16_t*) {}

std::uint32_t SetErrorMode(std::uint32_t mode) {
  static std::uint32_t current;
  return __atomic_exchange_n(&current, mode, __ATOMIC_RELAXED);
}

void DebugBreak() { asm volatile("int3"); }

}  // namespace tarn::platform
