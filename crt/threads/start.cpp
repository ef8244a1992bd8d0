// _beginthreadex and _beginthread: a thread with its own errno and the program's
// floating-point control.
#include <process.h>
#include <stdlib.h>

#include "../crt.h"
#include "../errors/cells.h"
#include "objects.h"

// Of the program's support library: releases the thread's own objects. winpthreads has
// destroyed them by then.
extern "C" void tarn_end_of_thread();

using namespace crt;

namespace {

struct Start {
  _beginthreadex_proc_type routine;
  void* argument;
};
struct OldStart {
  _beginthread_proc_type routine;
  void* argument;
};

void end_thread() {
  end_thread_objects();
  forget_thread();
  use_cell(nullptr);
  tarn_end_of_thread();
}

DWORD WINAPI run(void* argument) {
  const Start start = *static_cast<Start*>(argument);
  free(argument);
  int cell = 0;
  use_cell(&cell);
  set_arithmetic();
  const unsigned status = start.routine(start.argument);
  end_thread();
  return status;
}

unsigned run_old(void* argument) {
  const OldStart start = *static_cast<OldStart*>(argument);
  free(argument);
  start.routine(start.argument);
  return 0;
}

}  // namespace

CRT_API uintptr_t _beginthreadex(void* security, unsigned stack_size,
                                 _beginthreadex_proc_type routine, void* argument, unsigned flags,
                                 unsigned* id) {
  auto* const start = static_cast<Start*>(malloc(sizeof(Start)));
  if (!start) return 0;
  *start = {routine, argument};
  begin_threads();
  DWORD number;
  const HANDLE thread = CreateThread(static_cast<SECURITY_ATTRIBUTES*>(security), stack_size, run,
                                     start, flags, &number);
  if (!thread) {
    fail();
    free(start);
    return 0;
  }
  if (id) *id = number;
  return reinterpret_cast<uintptr_t>(thread);
}

CRT_API void _endthreadex(unsigned status) {
  end_thread();
  ExitThread(status);
}

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
