// Suspended threads. A signal makes a thread sleep, with its registers in its record,
// until nobody suspends it any more. It takes no lock of this back end with it (see
// Unsuspended).

#include <errno.h>
#include <signal.h>

#include "platform/image_imports.h"
#include "platform/posix/threads/thread_record.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kMostSuspensions = 127;  // as on Windows
constexpr std::uint32_t kSettableParts = 0xB;    // control, integer, floating-point

// Also read by the signal's handler, on the same thread.
thread_local volatile bool waiting;

// For those who wait until it is parked.
void note_move(ThreadRecord* thread) {
  __atomic_add_fetch(&thread->moves, 1, __ATOMIC_RELEASE);
  wake_all(&thread->moves);
}

// The calling thread's handler: sleeps with these registers, or goes on with others.
void park(ThreadRecord* self, ucontext_t* state) {
  for (;;) {
    std::uint32_t suspensions;
    {
      const WaitsLock lock;
      take_context(*state, &self->registers);
      copy_context_parts(self->changed, self->changed_parts, &self->registers);
      suspensions = self->suspensions;
      self->parked = suspensions > 0;
      if (!self->parked) {
        if (waiting || self->changed_parts == 0) return;
        put_context(self->registers, state);
        __atomic_store_n(&self->changed_parts, 0, __ATOMIC_RELAXED);
        return;
      }
      note_move(self);
    }
    sleep_on(&self->suspensions, suspensions, nullptr);
  }
}

void on_suspend(int, siginfo_t*, void* state) {
  if (put_off_suspension()) return;
  const int kept_errno = errno;
  ThreadRecord* const self = own_thread_if_known();
  if (self != nullptr) park(self, static_cast<ucontext_t*>(state));
  errno = kept_errno;
}

// With the lock held. The caller keeps a reference for wait_until_parked.
void suspend(ThreadRecord* thread) {
  ++thread->references;
  if (__atomic_add_fetch(&thread->suspensions, 1, __ATOMIC_RELAXED) == 1)
    pthread_kill(thread->system, kSuspendSignal);
}

void resume(ThreadRecord* thread) {
  if (__atomic_sub_fetch(&thread->suspensions, 1, __ATOMIC_RELEASE) > 0) return;
  wake_all(&thread->suspensions);
  note_move(thread);
}

// Or until somebody resumes it. Takes the lock.
void wait_until_parked(ThreadRecord* thread) {
  for (;;) {
    std::uint32_t moves;
    {
      const WaitsLock lock;
      moves = thread->moves;
      if (thread->parked || thread->suspensions == 0) {
        let_go(thread);
        return;
      }
    }
    sleep_on(&thread->moves, moves, nullptr);
  }
}

// The thread of the handle; null, with the last error, if it is none that could be
// suspended.
ThreadRecord* find_living_thread(Handle handle) {
  ThreadRecord* const thread = find_thread(handle);
  if (thread == nullptr || thread->count == 0) return thread;
  SetLastError(kErrorAccessDenied);
  return nullptr;
}

}  // namespace

void take_suspensions() {
  static const bool installed = [] {
    struct sigaction action {};
    action.sa_sigaction = &on_suspend;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    sigemptyset(&action.sa_mask);
    return sigaction(kSuspendSignal, &action, nullptr) == 0;
  }();
  sigset_t signal;
  sigemptyset(&signal);
  sigaddset(&signal, kSuspendSignal);
  if (installed) pthread_sigmask(SIG_UNBLOCK, &signal, nullptr);
}

void park_self() { pthread_kill(pthread_self(), kSuspendSignal); }

void begin_waiting() { waiting = true; }

void end_waiting() {
  waiting = false;
  const ThreadRecord* const self = own_thread_if_known();
  if (self != nullptr && __atomic_load_n(&self->changed_parts, __ATOMIC_RELAXED) != 0) park_self();
}

std::uint32_t SuspendThread(Handle handle) {
  ThreadRecord* thread = nullptr;
  std::uint32_t before = 0;
  {
    const WaitsLock lock;
    thread = find_living_thread(handle);
    if (thread == nullptr) return kWaitFailed;
    before = thread->suspensions;
    if (before >= kMostSuspensions) {
      SetLastError(kErrorSignalRefused);
      return kWaitFailed;
    }
    suspend(thread);
  }
  wait_until_parked(thread);  // of the calling thread itself, that it has been resumed
  return before;
}

std::uint32_t ResumeThread(Handle handle) {
  const WaitsLock lock;
  ThreadRecord* const thread = find_thread(handle);
  if (thread == nullptr) return kWaitFailed;
  const std::uint32_t before = thread->suspensions;
  if (before > 0) resume(thread);
  return before;
}

Bool GetThreadContext(Handle handle, AMD_CONTEXT* context) {
  ThreadRecord* thread = nullptr;
  bool own = false;
  {
    const WaitsLock lock;
    thread = find_living_thread(handle);
    if (thread == nullptr) return 0;
    own = thread == own_thread_if_known();
    if (own) {
      park_self();  // once the lock is released: the handler takes the registers
    } else {
      suspend(thread);
      ++thread->references;
    }
  }
  if (!own) wait_until_parked(thread);
  const WaitsLock lock;
  copy_context_parts(thread->registers, context->ContextFlags, context);
  if (own) return 1;
  if (thread->suspensions > 0) resume(thread);
  let_go(thread);
  return 1;
}

Bool SetThreadContext(Handle handle, const AMD_CONTEXT* context) {
  const WaitsLock lock;
  ThreadRecord* const thread = find_living_thread(handle);
  if (thread == nullptr) return 0;
  const std::uint32_t parts = context->ContextFlags & kSettableParts;
  copy_context_parts(*context, parts, &thread->changed);
  copy_context_parts(*context, parts, &thread->registers);
  __atomic_or_fetch(&thread->changed_parts, parts, __ATOMIC_RELAXED);
  if (!thread->parked) pthread_kill(thread->system, kSuspendSignal);
  return 1;
}

}  // namespace tarn::platform
