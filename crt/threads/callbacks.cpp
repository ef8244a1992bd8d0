// The image's own TLS callbacks: pointers in sections .CRT$XLB to .CRT$XLY. The image has
// no directory of them, so the run-time calls them as the system does in other programs:
// before the constructors, for each thread that the image starts, and at the end.
#define _KERNEL32_  // its DisableThreadLibraryCalls is defined here, not imported
#include "callbacks.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace {

using Callback = PIMAGE_TLS_CALLBACK;

__attribute__((section(".CRT$XLA"), used)) Callback before_first = nullptr;
__attribute__((section(".CRT$XLZ"), used)) Callback after_last = nullptr;

}  // namespace

const PIMAGE_TLS_CALLBACK* crt::callback_of_threads;
BOOL(WINAPI* crt::listener_of_threads)(HANDLE, DWORD, void*);

void crt::call_callbacks(DWORD reason) {
  const Callback* entry = &before_first;
  __asm__("" : "+r"(entry));  // the linker has put others between these two
  for (; entry != &after_last; ++entry) {
    if (*entry == nullptr || (entry == callback_of_threads && reason != DLL_THREAD_DETACH))
      continue;
    (*entry)(&__ImageBase, reason, nullptr);
  }
  if (listener_of_threads) listener_of_threads(&__ImageBase, reason, nullptr);
}

CRT_API BOOL WINAPI DisableThreadLibraryCalls(HMODULE library) {
  if (library == reinterpret_cast<HMODULE>(&__ImageBase)) crt::listener_of_threads = nullptr;
  return TRUE;
}
