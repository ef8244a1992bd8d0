// How winpthreads cancels a thread at once: it makes the thread go on in a routine of its
// own, on whatever stack the thread had between two instructions. A routine begins with
// its return address at a multiple of 16 plus 8; one that doesn't faults where it, or
// what it calls, stores registers of 16 bytes.
#define _KERNEL32_  // its SetThreadContext is defined here, not imported
#include "system.h"

extern "C" void _pthread_invoke_cancel(void) __attribute__((weak));

CRT_API WINBOOL WINAPI SetThreadContext(HANDLE thread, const CONTEXT* context) {
  auto* const set = crt::system_routine<WINBOOL WINAPI(HANDLE, const CONTEXT*)>("SetThreadContext");
  if (context->Rip != reinterpret_cast<DWORD64>(&_pthread_invoke_cancel)) {
    return set(thread, context);
  }
  CONTEXT aligned = *context;
  aligned.Rsp = (context->Rsp & ~DWORD64{15}) - 8;
  return set(thread, &aligned);
}
