// How an image begins and ends beside its constructors and destructors: it joins the others,
// and its TLS callbacks and DllMain are called.
#include <process.h>

#include "../crt.h"
#include "../images/loaded.h"
#include "../threads/callbacks.h"
#include "variables.h"

extern "C" {
int __BrackenStartup();
extern IMAGE_DOS_HEADER __ImageBase;
BOOL WINAPI DllMain(HANDLE image, DWORD reason, void* process_ends) __attribute__((weak));
}

namespace {

bool is_freed;

__attribute__((constructor(102))) void attach() {
  crt::join_images(_cexit);
  crt::call_callbacks(DLL_PROCESS_ATTACH);
}
__attribute__((destructor(102))) void detach() { crt::call_callbacks(DLL_PROCESS_DETACH); }

void detach_library() {
  crt::listener_of_threads = nullptr;
  DllMain(&__ImageBase, DLL_PROCESS_DETACH, is_freed ? nullptr : &__ImageBase);
}

}  // namespace

// finish_image makes it the entry point of a hosted DLL. When the process ends, exit has
// done what is to do here.
CRT_API int tarn_library_entry(void* image, DWORD reason, void* process_ends) {
  if (reason != DLL_PROCESS_DETACH) {
    const int is_started = __BrackenStartup();
    if (reason != DLL_PROCESS_ATTACH || !is_started || !DllMain) return is_started;
    tarn_before_end = detach_library;
    crt::listener_of_threads = DllMain;
    if (DllMain(image, reason, process_ends)) return TRUE;
    process_ends = nullptr;  // as if freed
  }
  if (!process_ends && crt::leave_images()) {
    is_freed = true;
    tarn_end_of_objects();
    crt::leave_variables();
  }
  return reason == DLL_PROCESS_DETACH;
}
