// The image's own TLS callbacks and DllMain.
#pragma once

#include "../crt.h"

namespace crt {

// Calls them for the calling thread, with one of the reasons of DllMain.
void call_callbacks(DWORD reason);

// That of winpthreads, set where there is one before the first call. It wants the ends of
// threads alone: what it releases as the process ends, threads that still run may use.
extern const PIMAGE_TLS_CALLBACK* callback_of_threads;

// DllMain, unless it does not want to know of threads; null in a program.
extern BOOL(WINAPI* listener_of_threads)(HANDLE image, DWORD reason, void* reserved);

}  // namespace crt
