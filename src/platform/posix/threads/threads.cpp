// Threads, events and mutexes. All are records that can be waited for, under one lock:
// a handle is found, used and closed under it, and a record lasts until its
// handle, its thread and its waits have let it go.

#include <errno.h>
#include <pthread.h>
#include <setjmp.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/threads/threads.h"

namespace tarn::platform {
namespace {

constexpr std::uint64_t kStackStep = 65536;
constexpr std::uint64_t kLargestStack = std::uint64_t{1} << 40;

struct Waitable {
  std::uint32_t references;
  bool signalled;
  bool stays_signalled;  // a thread, a manual-reset event
  pthread_cond_t changed;
  // Of a mutex alone: the thread that has it, and how often.
  std::uint32_t owner, entries;
  Waitable* next_owned;
  bool abandoned;
  // Of a thread alone.
  std::uint32_t suspensions;
  ThreadRoutine routine;
  void* argument;
  jmp_buf end;
};

pthread_mutex_t waits_lock = PTHREAD_MUTEX_INITIALIZER;

class WaitsLock {
 public:
  WaitsLock() { pthread_mutex_lock(&waits_lock); }
  ~WaitsLock() { pthread_mutex_unlock(&waits_lock); }
  WaitsLock(const WaitsLock&) = delete;
  WaitsLock& operator=(const WaitsLock&) = delete;
};

// The record of the calling thread, if CreateThread made it.
thread_local Waitable* own_thread;

// The mutexes that the calling thread has. Each counts as one reference.
thread_local Waitable* owned_mutexes;

// Windows' pseudo-handle of the calling thread.
Handle current_thread() { return reinterpret_cast<Handle>(~std::uintptr_t{1}); }

Handle null_for(std::uint32_t code) {
  SetLastError(code);
  return nullptr;
}

Waitable* new_waitable(bool signalled, bool stays_signalled) {
  auto* const object = static_cast<Waitable*>(calloc(1, sizeof(Waitable)));
  if (object == nullptr) return nullptr;
  object->references = 1;
  object->signalled = signalled;
  object->stays_signalled = stays_signalled;
  pthread_condattr_t attributes;
  pthread_condattr_init(&attributes);
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  pthread_cond_init(&object->changed, &attributes);
  pthread_condattr_destroy(&attributes);
  return object;
}

// The three below: with the lock held.

void let_go(Waitable* object) {
  if (--object->references > 0) return;
  pthread_cond_destroy(&object->changed);
  free(object);
}

Waitable* find_waitable(Handle handle, HandleKind kind) {
  const OpenObject* const object = find_handle(handle, kind);
  return object == nullptr ? nullptr : static_cast<Waitable*>(object->record);
}

void signal_waitable(Waitable* object) {
  object->signalled = true;
  if (object->stays_signalled) {
    pthread_cond_broadcast(&object->changed);
  } else {
    pthread_cond_signal(&object->changed);
  }
}

Bool close_waitable(Handle handle, HandleKind kind) {
  const WaitsLock lock;
  const OpenObject object = remove_handle(handle, kind);
  if (object.kind == HandleKind::kFree) return 0;
  let_go(static_cast<Waitable*>(object.record));
  return 1;
}

// With the lock held and a reference taken: whether the object was signalled in time.
bool await(Waitable* object, std::uint32_t milliseconds, const timespec& end) {
  bool timed_out = milliseconds == 0;
  while (!object->signalled && !timed_out) {
    if (milliseconds == kWaitForever) {
      pthread_cond_wait(&object->changed, &waits_lock);
    } else {
      timed_out = pthread_cond_timedwait(&object->changed, &waits_lock, &end) == ETIMEDOUT;
    }
  }
  const bool taken = object->signalled;
  if (taken && !object->stays_signalled) object->signalled = false;
  return taken;
}

std::uint32_t wait_for(Handle handle, HandleKind kind, std::uint32_t milliseconds) {
  const timespec end = deadline_after(milliseconds);
  const WaitsLock lock;
  Waitable* const object = find_waitable(handle, kind);
  if (object == nullptr) return kWaitFailed;
  ++object->references;
  const bool taken = await(object, milliseconds, end);
  let_go(object);
  return taken ? kWaitObject : kWaitTimeout;
}

// With the lock held: what the ending thread has goes to the next that waits.
void abandon_mutexes() {
  while (Waitable* const mutex = owned_mutexes) {
    owned_mutexes = mutex->next_owned;
    mutex->owner = 0;
    mutex->abandoned = true;
    signal_waitable(mutex);
    let_go(mutex);
  }
}

// ---- A thread's life ----------------------------------------------------------

void* run_thread(void* record) {
  auto* const thread = static_cast<Waitable*>(record);
  own_thread = thread;
  set_initial_modes();
  pthread_mutex_lock(&waits_lock);
  while (thread->suspensions > 0) pthread_cond_wait(&thread->changed, &waits_lock);
  pthread_mutex_unlock(&waits_lock);
  // TerminateThread jumps back here.
  if (_setjmp(thread->end) == 0) thread->routine(thread->argument);
  const WaitsLock lock;
  abandon_mutexes();
  signal_waitable(thread);
  let_go(thread);
  return nullptr;
}

bool start_thread(Waitable* thread, std::uint64_t stack_size) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  bool made = true;
  if (stack_size > 0) {
    const std::uint64_t size = (stack_size + kStackStep - 1) / kStackStep * kStackStep;
    made = stack_size <= kLargestStack && pthread_attr_setstacksize(&attributes, size) == 0;
  }
  if (made) {
    sigset_t before;
    block_sent_signals(&before);
    pthread_t started;
    made = pthread_create(&started, &attributes, &run_thread, thread) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
  pthread_attr_destroy(&attributes);
  return made;
}

}  // namespace

// ---- Events -------------------------------------------------------------------

Handle CreateEventA(const SecurityAttributes*, Bool manual_reset, Bool signalled,
                    const char* name) {
  if (name != nullptr) return null_for(kErrorNotSupported);
  Waitable* const event = new_waitable(signalled != 0, manual_reset != 0);
  if (event == nullptr) return null_for(kErrorNotEnoughMemory);
  const Handle handle = add_handle({HandleKind::kEvent, -1, false, false, false, event});
  if (handle == nullptr) let_go(event);  // not known to anybody else yet
  return handle;
}

Bool SetEvent(Handle event) {
  const WaitsLock lock;
  Waitable* const object = find_waitable(event, HandleKind::kEvent);
  if (object == nullptr) return 0;
  signal_waitable(object);
  return 1;
}

Bool close_event(Handle handle) { return close_waitable(handle, HandleKind::kEvent); }

std::uint32_t wait_for_event(Handle handle, std::uint32_t milliseconds) {
  return wait_for(handle, HandleKind::kEvent, milliseconds);
}

// ---- Mutexes ------------------------------------------------------------------

Handle CreateMutexW(const SecurityAttributes*, Bool owned, const char16_t* name) {
  if (name != nullptr) return null_for(kErrorNotSupported);
  Waitable* const mutex = new_waitable(true, false);
  if (mutex == nullptr) return null_for(kErrorNotEnoughMemory);
  const Handle handle = add_handle({HandleKind::kMutex, -1, false, false, false, mutex});
  if (handle == nullptr) let_go(mutex);
  if (handle != nullptr && owned) wait_for_mutex(handle, 0);
  return handle;
}

Bool ReleaseMutex(Handle handle) {
  const WaitsLock lock;
  Waitable* const mutex = find_waitable(handle, HandleKind::kMutex);
  if (mutex == nullptr) return 0;
  if (mutex->owner != GetCurrentThreadId()) return fail(kErrorNotOwner);
  if (--mutex->entries > 0) return 1;
  mutex->owner = 0;
  for (Waitable** link = &owned_mutexes; *link != nullptr; link = &(*link)->next_owned) {
    if (*link != mutex) continue;
    *link = mutex->next_owned;
    break;
  }
  signal_waitable(mutex);
  let_go(mutex);
  return 1;
}

Bool close_mutex(Handle handle) { return close_waitable(handle, HandleKind::kMutex); }

std::uint32_t wait_for_mutex(Handle handle, std::uint32_t milliseconds) {
  const timespec end = deadline_after(milliseconds);
  const std::uint32_t caller = GetCurrentThreadId();
  const WaitsLock lock;
  Waitable* const mutex = find_waitable(handle, HandleKind::kMutex);
  if (mutex == nullptr) return kWaitFailed;
  if (mutex->owner == caller) {
    ++mutex->entries;
    return kWaitObject;
  }
  ++mutex->references;
  if (!await(mutex, milliseconds, end)) {
    let_go(mutex);
    return kWaitTimeout;
  }
  mutex->owner = caller;
  mutex->entries = 1;
  mutex->next_owned = owned_mutexes;
  owned_mutexes = mutex;
  const bool abandoned = mutex->abandoned;
  mutex->abandoned = false;
  return abandoned ? kWaitAbandoned : kWaitObject;
}

// ---- Threads ------------------------------------------------------------------

Handle CreateThread(const SecurityAttributes*, std::uint64_t stack_size, ThreadRoutine routine,
                    void* argument, std::uint32_t flags, std::uint32_t* id) {
  if (routine == nullptr) return null_for(kErrorInvalidParameter);
  Waitable* const thread = new_waitable(false, true);
  if (thread == nullptr) return null_for(kErrorNotEnoughMemory);
  thread->references = 2;  // the handle's and the thread's own
  thread->suspensions = (flags & kCreateSuspended) != 0 ? 1 : 0;
  thread->routine = routine;
  thread->argument = argument;
  const Handle handle = add_handle({HandleKind::kThread, -1, false, false, false, thread});
  if (handle != nullptr && start_thread(thread, stack_size)) {
    // Like a handle, a small number that no other thread of the process has.
    if (id != nullptr) *id = static_cast<std::uint32_t>(reinterpret_cast<std::uint64_t>(handle));
    return handle;
  }
  const std::uint32_t failure = handle == nullptr ? kErrorTooManyOpenFiles : kErrorNotEnoughMemory;
  const WaitsLock lock;
  if (handle != nullptr) remove_handle(handle, HandleKind::kThread);
  thread->references = 1;
  let_go(thread);
  return null_for(failure);
}

std::uint32_t ResumeThread(Handle handle) {
  const WaitsLock lock;
  Waitable* const thread = find_waitable(handle, HandleKind::kThread);
  if (thread == nullptr) return kWaitFailed;
  const std::uint32_t before = thread->suspensions;
  if (before > 0 && --thread->suspensions == 0) pthread_cond_broadcast(&thread->changed);
  return before;
}

Bool SetThreadPriority(Handle handle, std::int32_t priority) {
  const bool known = (priority >= -2 && priority <= 2) || priority == -15 || priority == 15;
  if (!known) return fail(kErrorInvalidParameter);
  if (handle == current_thread()) return 1;
  const WaitsLock lock;
  return find_waitable(handle, HandleKind::kThread) != nullptr;
}

Bool close_thread(Handle handle) { return close_waitable(handle, HandleKind::kThread); }

std::uint32_t wait_for_thread(Handle handle, std::uint32_t milliseconds) {
  return wait_for(handle, HandleKind::kThread, milliseconds);
}

Handle GetCurrentThread() { return current_thread(); }

Bool TerminateThread(Handle thread, std::uint32_t code) {
  if (thread != current_thread()) return fail(kErrorInvalidHandle);
  if (own_thread != nullptr) _longjmp(own_thread->end, 1);
  syscall(SYS_exit, code);  // this thread only; the process ends with its last one
  __builtin_unreachable();
}

void ExitThread(std::uint32_t code) {
  TerminateThread(current_thread(), code);
  __builtin_unreachable();
}

std::uint32_t GetCurrentThreadId() {
  static thread_local std::uint32_t known;  // the call of the system costs a lock's worth
  if (known == 0) known = static_cast<std::uint32_t>(syscall(SYS_gettid));
  return known;
}

// The alternate stack of the signal handlers is the guarantee; it has this
// many bytes or more.
Bool SetThreadStackGuarantee(std::uint32_t* size) {
  stack_t current{};
  const std::uint32_t wanted = *size;
  const bool has = sigaltstack(nullptr, &current) == 0 && !(current.ss_flags & SS_DISABLE);
  *size = has ? static_cast<std::uint32_t>(current.ss_size) : 0;
  if (*size >= wanted) return 1;
  SetLastError(kErrorInvalidParameter);
  return 0;
}

// The pages below a stack stay what they are.
void RestoreStackGuard() {}

}  // namespace tarn::platform
