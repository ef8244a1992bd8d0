// What a thread's handle stands for.
#pragma once

#include <pthread.h>
#include <setjmp.h>

#include "platform/posix/threads/waits.h"

namespace tarn::platform {

struct QueuedCall;

// Its count is 0 until the thread has ended. With the lock of waits.h held, but for
// the thread's own use of what does not change.
struct ThreadRecord : Waitable {
  ThreadRecord* following;  // of those that run
  pthread_t system;         // until it has ended
  std::uint32_t id;         // 0 until the thread runs
  std::uint32_t code;
  std::int32_t priority;
  FileTime created, ended, kernel, user;
  ThreadRoutine routine;
  void* argument;
  jmp_buf end;
  bool has_end;  // TerminateThread jumps there

  // Calls that are queued for the thread, and their count. Waits refer to it while the
  // thread lives: it is never let go.
  Waitable calls;
  QueuedCall *first_call, *last_call;

  // How often it is suspended; whether it sleeps for that, with these registers; how
  // often that has changed.
  std::uint32_t suspensions;
  bool parked;
  AMD_CONTEXT registers;
  std::uint32_t moves;
  // Registers that SetThreadContext has set: they are put in as the thread goes on,
  // or, if it was waiting, as its wait is over.
  std::uint32_t changed_parts;
  AMD_CONTEXT changed;
};

// The calling thread's; null, with the last error, if there is no memory for one. The
// second is null where there is none yet.
ThreadRecord* own_thread();
ThreadRecord* own_thread_if_known();

// With the lock held; null, with the last error, for a handle of another kind.
ThreadRecord* find_thread(Handle handle);

// For the end of a thread, with the lock held: its calls never run.
void drop_queued_calls(ThreadRecord* thread);

// Around a wait of the calling thread, during which its registers cannot be changed.
void begin_waiting();
void end_waiting();

// Sleeps until the calling thread is no longer suspended.
void park_self();

// For the signal of a suspension to reach the calling thread.
void take_suspensions();

}  // namespace tarn::platform
