// The image's own TLS callbacks: pointers in sections .CRT$XLB to .CRT$XLY. The image has
// no directory of them, so the run-time calls them as the system does in other programs:
// before the constructors, for each thread that the image starts, and at the end.
#include "callbacks.h"

#include "../process/loaded.h"

extern "C" const IMAGE_DOS_HEADER __ImageBase;

namespace {

using Callback = PIMAGE_TLS_CALLBACK;

__attribute__((section(".CRT$XLA"), used)) Callback before_first = nullptr;
__attribute__((section(".CRT$XLZ"), used)) Callback after_last = nullptr;

}  // namespace

const PIMAGE_TLS_CALLBACK* crt::callback_of_threads;

void crt::call_callbacks(DWORD reason) {
  const Callback* entry = &before_first;
  __asm__("" : "+r"(entry));  // the linker has put others between these two
  for (; entry != &after_last; ++entry) {
    if (*entry == nullptr || (entry == callback_of_threads && reason != DLL_THREAD_DETACH))
      continue;
    (*entry)(const_cast<IMAGE_DOS_HEADER*>(&__ImageBase), reason, nullptr);
  }
}

__attribute__((constructor(102))) static void attach() {
  crt::join_images();
  crt::call_callbacks(DLL_PROCESS_ATTACH);
}
__attribute__((destructor(102))) static void detach() { crt::call_callbacks(DLL_PROCESS_DETACH); }
