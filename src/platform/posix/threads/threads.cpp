// A thread's life: its record lasts until its handles, its waits and the thread
// itself have let it go.

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/threads/thread_record.h"

namespace tarn::platform {
namespace {

constexpr std::uint64_t kStackStep = 65536;
constexpr std::uint64_t kLargestStack = std::uint64_t{1} << 40;
constexpr std::uint32_t kStillActive = 259;

// The program's threads: the first, and those that CreateThread made. The process
// ends with the last of them. With the lock held.
std::uint32_t running_threads = 1;

thread_local ThreadRecord* own_record;

// Those that have not ended, with the lock held; a thread that CreateThread did not make
// from when it first has a record.
ThreadRecord* live_threads;

void list_thread(ThreadRecord* thread) {
  thread->following = live_threads;
  live_threads = thread;
}

void unlist_thread(const ThreadRecord* thread) {
  ThreadRecord** at = &live_threads;
  while (*at != nullptr && *at != thread) at = &(*at)->following;
  if (*at != nullptr) *at = thread->following;
}

ThreadRecord* new_record() {
  auto* const thread = static_cast<ThreadRecord*>(calloc(1, sizeof(ThreadRecord)));
  if (thread == nullptr) return nullptr;
  thread->references = 1;
  thread->limit = 1;
  thread->calls.references = 1;
  thread->calls.limit = INT32_MAX;
  thread->code = kStillActive;
  GetSystemTimeAsFileTime(&thread->created);
  return thread;
}

FileTime duration(const timeval& time) {
  return file_time(time.tv_sec * kUnitsPerSecond + time.tv_usec * 10);
}

// The calling thread's time in the system and in programs.
void take_times(FileTime* kernel, FileTime* user) {
  rusage used{};
  getrusage(RUSAGE_THREAD, &used);
  *kernel = duration(used.ru_stime);
  *user = duration(used.ru_utime);
}

// The same of another thread, which may end meanwhile.
void read_times(std::uint32_t id, FileTime* kernel, FileTime* user) {
  char path[64];
  snprintf(path, sizeof path, "/proc/self/task/%u/stat", id);
  FILE* const file = fopen(path, "re");
  if (file == nullptr) return;
  // After the name in brackets, which may be anything, come eleven words and the two.
  char line[1024];
  const std::size_t length = fread(line, 1, sizeof line - 1, file);
  fclose(file);
  std::size_t at = length;
  while (at > 0 && line[at] != ')') --at;
  line[length] = '\0';
  long long in_programs = 0, in_system = 0;
  if (sscanf(line + at, ") %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %lld %lld", &in_programs,
             &in_system) != 2) {
    return;
  }
  const std::int64_t unit = kUnitsPerSecond / sysconf(_SC_CLK_TCK);
  *kernel = file_time(in_system * unit);
  *user = file_time(in_programs * unit);
}

// ---- Beginning and end --------------------------------------------------------

void end_thread(ThreadRecord* thread, std::uint32_t code) {
  FileTime kernel, user;
  take_times(&kernel, &user);
  for (;;) {
    const WaitsLock lock;
    if (thread != nullptr && thread->suspensions > 0) {
      park_self();  // once the lock is released
      continue;
    }
    if (--running_threads == 0) ExitProcess(code);
    abandon_mutexes();
    if (thread == nullptr) return;
    unlist_thread(thread);
    drop_queued_calls(thread);
    thread->code = code;
    thread->kernel = kernel;
    thread->user = user;
    GetSystemTimeAsFileTime(&thread->ended);
    raise_count(thread, 1);
    let_go(thread);
    return;
  }
}

void* run_thread(void* record) {
  auto* const thread = static_cast<ThreadRecord*>(record);
  own_record = thread;
  const OverflowRoom room;
  set_initial_modes();
  __atomic_store_n(&thread->id, GetCurrentThreadId(), __ATOMIC_RELEASE);
  wake_all(&thread->id);
  while (__atomic_load_n(&thread->suspensions, __ATOMIC_ACQUIRE) > 0) park_self();
  std::uint32_t code = 0;
  if (_setjmp(thread->end) == 0) {
    thread->has_end = true;
    run_queued_calls();
    code = thread->routine(thread->argument);
  } else {
    code = thread->code;
  }
  end_thread(thread, code);
  return nullptr;
}

bool start_thread(ThreadRecord* thread, std::uint64_t stack_size) {
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
    made = pthread_create(&thread->system, &attributes, &run_thread, thread) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
  pthread_attr_destroy(&attributes);
  return made;
}

}  // namespace

ThreadRecord* own_thread_if_known() { return own_record; }

ThreadRecord* own_thread() {
  if (own_record != nullptr) return own_record;
  ThreadRecord* const thread = new_record();
  if (thread == nullptr) {
    SetLastError(kErrorNotEnoughMemory);
    return nullptr;
  }
  thread->system = pthread_self();
  thread->id = GetCurrentThreadId();
  take_suspensions();
  own_record = thread;
  list_thread(thread);
  return thread;
}

ThreadRecord* find_thread(Handle handle) {
  return static_cast<ThreadRecord*>(find_waitable(handle, HandleKind::kThread));
}

Handle CreateThread(const SecurityAttributes*, std::uint64_t stack_size, ThreadRoutine routine,
                    void* argument, std::uint32_t flags, std::uint32_t* id) {
  if (routine == nullptr) return null_for(kErrorInvalidParameter);
  ThreadRecord* const thread = new_record();
  if (thread == nullptr) return null_for(kErrorNotEnoughMemory);
  thread->references = 3;  // the handle's, the thread's own, and one for this routine
  thread->suspensions = (flags & kCreateSuspended) != 0 ? 1 : 0;
  thread->routine = routine;
  thread->argument = argument;
  take_suspensions();
  Handle handle = add_handle({HandleKind::kThread, -1, false, false, false, thread});
  const std::uint32_t failure = handle == nullptr ? kErrorTooManyOpenFiles : kErrorNotEnoughMemory;
  bool started = false;
  if (handle != nullptr) {
    const WaitsLock lock;  // nobody may suspend it before it is known
    started = start_thread(thread, stack_size);
    if (started) {
      ++running_threads;
      list_thread(thread);
    }
  }
  if (started && id != nullptr) {
    while (__atomic_load_n(&thread->id, __ATOMIC_ACQUIRE) == 0) sleep_on(&thread->id, 0, nullptr);
    *id = thread->id;
  }
  const WaitsLock lock;
  if (!started) {
    if (handle != nullptr) remove_handle(handle, HandleKind::kThread);
    thread->references = 1;
  }
  let_go(thread);
  return started ? handle : null_for(failure);
}

Handle OpenThread(std::uint32_t, Bool, std::uint32_t id) {
  if (id == GetCurrentThreadId()) return duplicate_waitable(GetCurrentThread());
  const WaitsLock lock;
  ThreadRecord* thread = live_threads;
  while (thread != nullptr && __atomic_load_n(&thread->id, __ATOMIC_ACQUIRE) != id) {
    thread = thread->following;
  }
  if (thread == nullptr || id == 0) return null_for(kErrorInvalidParameter);
  const Handle handle = add_handle({HandleKind::kThread, -1, false, false, false, thread});
  if (handle == nullptr) return null_for(kErrorTooManyOpenFiles);
  ++thread->references;
  return handle;
}

Bool GetExitCodeThread(Handle handle, std::uint32_t* code) {
  const WaitsLock lock;
  const ThreadRecord* const thread = find_thread(handle);
  if (thread == nullptr) return 0;
  *code = thread->count > 0 ? thread->code : kStillActive;
  return 1;
}

Bool GetThreadTimes(Handle handle, FileTime* created, FileTime* ended, FileTime* kernel,
                    FileTime* user) {
  const WaitsLock lock;
  ThreadRecord* const thread = find_thread(handle);
  if (thread == nullptr) return 0;
  if (thread == own_record) {
    take_times(&thread->kernel, &thread->user);
  } else if (thread->count == 0) {
    read_times(__atomic_load_n(&thread->id, __ATOMIC_RELAXED), &thread->kernel, &thread->user);
  }
  *created = thread->created;
  *ended = thread->ended;
  *kernel = thread->kernel;
  *user = thread->user;
  return 1;
}

Bool SetThreadPriority(Handle handle, std::int32_t priority) {
  const bool known = (priority >= -2 && priority <= 2) || priority == -15 || priority == 15;
  if (!known) return fail(kErrorInvalidParameter);
  const WaitsLock lock;
  ThreadRecord* const thread = find_thread(handle);
  if (thread == nullptr) return 0;
  thread->priority = priority;
  return 1;
}

std::int32_t GetThreadPriority(Handle handle) {
  const WaitsLock lock;
  const ThreadRecord* const thread = find_thread(handle);
  return thread == nullptr ? kNoPriority : thread->priority;
}

Handle GetCurrentThread() { return reinterpret_cast<Handle>(~std::uintptr_t{1}); }

Bool TerminateThread(Handle thread, std::uint32_t code) {
  if (thread != GetCurrentThread()) return fail(kErrorInvalidHandle);
  if (own_record != nullptr && own_record->has_end) {
    own_record->code = code;
    _longjmp(own_record->end, 1);
  }
  end_thread(own_record, code);
  // The process's own first thread: the host loses sight of a process without it.
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
  for (;;) pause();
}

void ExitThread(std::uint32_t code) {
  TerminateThread(GetCurrentThread(), code);
  __builtin_unreachable();
}

std::uint32_t GetCurrentThreadId() {
  static thread_local std::uint32_t known;  // the call of the system costs a lock's worth
  if (known == 0) known = static_cast<std::uint32_t>(syscall(SYS_gettid));
  return known;
}

// The stack of the signal handlers is the guarantee; it has this many bytes or
// more.
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
