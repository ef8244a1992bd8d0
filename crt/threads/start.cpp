// The life of a thread, whichever routine starts and ends it: it has its own errno and
// the program's floating-point control, and leaves nothing when it ends.
#define _KERNEL32_  // its CreateThread and ExitThread are defined here, not imported
#include <process.h>
#include <stdlib.h>

#include "../errors/cells.h"
#include "../numbers/arithmetic.h"
#include "callbacks.h"
#include "objects.h"
#include "system.h"

extern "C" {
// The linker brings winpthreads for it: not to be named by what every image has.
extern const PIMAGE_TLS_CALLBACK __xl_f __attribute__((weak));
// Of the program's support library: releases the thread's own objects.
void tarn_end_of_thread();
}

using namespace crt;

__attribute__((constructor(101))) static void tell_callback() { callback_of_threads = &__xl_f; }

// The routines in which threads begin; a traceback ends there.
extern "C" DWORD WINAPI tarn_run_thread(void* argument);

namespace {

struct Start {
  LPTHREAD_START_ROUTINE routine;
  void* argument;
};
struct OldStart {
  _beginthread_proc_type routine;
  void* argument;
};

// The destructors of C++'s objects run first, then those of pthread keys: winpthreads has
// a routine for it that the system calls at the end of each thread of an ordinary program.
void end_thread() {
  end_thread_objects();
  call_callbacks(DLL_THREAD_DETACH);
  forget_thread();
  use_cell(nullptr);
  tarn_end_of_thread();
}

// Room for the report of an overflow of this thread's stack, as the library has on the
// first thread's. A system that commits a stack whole has its guard page where it leaves
// no room, and takes one further up; another refuses it there.
void keep_room_for_overflow() {
  constexpr ULONG kReportStack = 192 * 1024;
  ULONG reserve = kReportStack;
  ULONG_PTR low, high;
  DWORD before;
  SetThreadStackGuarantee(&reserve);
  GetCurrentThreadStackLimits(&low, &high);
  if (high - low < 2 * kReportStack) return;
  VirtualProtect(reinterpret_cast<void*>(low + kReportStack), 1, PAGE_READWRITE | PAGE_GUARD,
                 &before);
}

}  // namespace

DWORD WINAPI tarn_run_thread(void* argument) {
  const Start start = *static_cast<Start*>(argument);
  free(argument);
  int cell = 0;
  use_cell(&cell);
  set_arithmetic();
  keep_room_for_overflow();
  call_callbacks(DLL_THREAD_ATTACH);
  const DWORD status = start.routine(start.argument);
  end_thread();
  return status;
}

namespace {

unsigned run_old(void* argument) {
  const OldStart start = *static_cast<OldStart*>(argument);
  free(argument);
  start.routine(start.argument);
  return 0;
}

}  // namespace

CRT_API HANDLE WINAPI CreateThread(SECURITY_ATTRIBUTES* security, SIZE_T stack_size,
                                   LPTHREAD_START_ROUTINE routine, void* argument, DWORD flags,
                                   DWORD* id) {
  auto* const start = routine ? static_cast<Start*>(malloc(sizeof(Start))) : nullptr;
  if (!start) {
    SetLastError(routine ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  *start = {routine, argument};
  begin_threads();
  using Create =
      HANDLE WINAPI(SECURITY_ATTRIBUTES*, SIZE_T, LPTHREAD_START_ROUTINE, void*, DWORD, DWORD*);
  DWORD number;
  auto* const create = system_routine<Create>("CreateThread");
  const HANDLE thread =
      create(security, stack_size, tarn_run_thread, start, flags, id ? id : &number);
  if (thread) return thread;
  const DWORD why = GetLastError();
  free(start);
  SetLastError(why);
  return nullptr;
}

CRT_API void WINAPI ExitThread(DWORD status) {
  end_thread();
  system_routine<void WINAPI(DWORD)>("ExitThread")(status);
  __builtin_unreachable();
}

CRT_API uintptr_t _beginthreadex(void* security, unsigned stack_size,
                                 _beginthreadex_proc_type routine, void* argument, unsigned flags,
                                 unsigned* id) {
  DWORD number;
  const HANDLE thread =
      CreateThread(static_cast<SECURITY_ATTRIBUTES*>(security), stack_size,
                   reinterpret_cast<LPTHREAD_START_ROUTINE>(routine), argument, flags, &number);
  if (!thread) {
    fail();
    return 0;
  }
  if (id) *id = number;
  return reinterpret_cast<uintptr_t>(thread);
}

CRT_API void _endthreadex(unsigned status) { ExitThread(status); }

// Its handle is closed when the thread starts, as on Windows when it ends: the result
// says that there is one, and no more.
CRT_API uintptr_t _beginthread(_beginthread_proc_type routine, unsigned stack_size,
                               void* argument) {
  auto* const start = static_cast<OldStart*>(malloc(sizeof(OldStart)));
  if (!start) return static_cast<uintptr_t>(-1);
  *start = {routine, argument};
  const uintptr_t thread = _beginthreadex(nullptr, stack_size, run_old, start, 0, nullptr);
  if (thread == 0) {
    free(start);
    return static_cast<uintptr_t>(-1);
  }
  CloseHandle(reinterpret_cast<HANDLE>(thread));
  return thread;
}
CRT_API void _endthread(void) { _endthreadex(0); }
