// Threads, events, semaphores, and what a thread starts with: its floating-point
// modes, the signals that it takes, the stack whose overflow is reported. The
// operations themselves are declared in platform/platform.h and
// platform/image_imports.h. State: the records of threads, events, semaphores
// and mutexes, the bounds of each thread's stack.
//
//   waits           what can be waited for
//   events          events and semaphores
//   mutexes         locks with an owner
//   threads         a thread's life
//   queued_calls    calls that a thread makes in its alertable waits
//   suspension      suspended threads and their registers
//   machine_state   a signal's registers as Windows' record, and back
//   critical_sections, light_locks, thread_slots, thread_start
#pragma once

#include <signal.h>
#include <time.h>
#include <ucontext.h>

#include "platform/platform.h"

namespace tarn::platform {

// ---- Waits --------------------------------------------------------------------

// What CloseHandle and DuplicateHandle do for events, semaphores, mutexes and threads.
// GetCurrentThread's pseudo-handle can be duplicated and waited for.
Bool close_waitable(Handle handle);
Handle duplicate_waitable(Handle handle);

struct Waitable;
struct Mutex;
class ObjectWait;
struct WaitPlace {  // of a wait in an object's queue
  Waitable* object;
  ObjectWait* wait;
  WaitPlace *previous, *next;
};

// One wait of the calling thread for such objects: begin, then sleep or a wait of
// the caller's own, then end.
class ObjectWait {
 public:
  ObjectWait();
  ~ObjectWait();
  ObjectWait(const ObjectWait&) = delete;
  ObjectWait& operator=(const ObjectWait&) = delete;

  // For any of the objects or all of them; takes what it wants at once if it is
  // there. Where that comes later, something is written to the descriptor (an
  // eventfd; -1: none). `calls`, if not null, ends it too once calls are queued for the
  // thread. True if the wait is over: then `end` returns at once.
  bool begin(const Handle* handles, std::uint32_t count, bool all, int descriptor = -1,
             Waitable* calls = nullptr);
  // Until it is over or the time by CLOCK_MONOTONIC has come (null: never).
  void sleep(const timespec* end);
  // The index of the object, 0 for all, with kWaitAbandoned added where it, or one of
  // all, is a mutex that its owner has abandoned; kWaitIoCompletion if queued calls are
  // there; kWaitTimeout if the wait is not over; kWaitFailed, with the last error, if a handle
  // is none.
  std::uint32_t end();

 private:
  friend void raise_count(Waitable* object, std::int32_t more);
  bool is_there(const Waitable& object) const;
  bool take(std::uint32_t place);
  void take_mutex(Mutex* mutex, std::uint32_t place);
  void leave_queues();

  std::uint32_t count_ = 0;        // of the objects
  std::uint32_t places_used_ = 0;  // one more with the thread's queued calls
  std::uint32_t over_ = 0;         // last: then the wait no longer belongs to who ends it
  std::uint32_t result_ = kWaitTimeout;
  bool all_ = false;
  int descriptor_ = -1;
  const std::uint32_t thread_;  // the waiting one's number
  Mutex** const mutexes_;       // what it has
  WaitPlace places_[kMostWaits + 1];
};

// The calls that QueueUserAPC has queued for the calling thread: what alertable waits wait
// for (null, with the last error, without memory), and to run them all.
Waitable* own_queued_calls();
void run_queued_calls();

// ---- The start of a thread ------------------------------------------------------

// The signals of a thread's own faults.
inline constexpr int kFaultSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};

// For the start of a thread: signals that are sent to the process stay with the
// program's threads, while the thread's own faults, and its suspension, reach it.
void block_sent_signals(sigset_t* before);

// For the start of a thread that runs the program's code: the modes that Windows
// starts a thread with, instead of those of the thread that makes it. SSE with
// all exceptions masked, x87 with 53 bits.
void set_initial_modes();

// The bounds of the calling thread's stack: a fault in the guard below it is its
// overflow. They are 0 until one of the first two is called; the second takes them
// from the system unless they are known already. Only find_stack may not be called
// in a signal handler.
void set_stack(const void* low, const void* high);
void find_stack();
std::uint64_t stack_low();

// Lets the calling thread's signal handlers run on a stack of their own, so that a
// fault is reported even when its stack is used up. Returns the memory; null if it has
// such a stack, or if there is no memory: then they run on the thread's stack.
void* give_signal_stack();

// That, and the bounds of its stack, for a thread while this lives.
class OverflowRoom {
 public:
  OverflowRoom();
  ~OverflowRoom();
  OverflowRoom(const OverflowRoom&) = delete;
  OverflowRoom& operator=(const OverflowRoom&) = delete;

 private:
  void* memory_;
};

// ---- Registers ------------------------------------------------------------------

// A signal's registers as Windows' record. May be called in a signal handler, as may
// put_context.
void take_context(const ucontext_t& from, AMD_CONTEXT* to);

// Of the flags, the MXCSR and the floating-point image only what a program may set.
void put_context(const AMD_CONTEXT& from, ucontext_t* to);

// The parts of a record that `parts`, as in ContextFlags, names.
void copy_context_parts(const AMD_CONTEXT& from, std::uint32_t parts, AMD_CONTEXT* to);

}  // namespace tarn::platform
