// Mutexes: an object of a count of 0 or 1 with an owner, which can take it again.

#include <stdlib.h>

#include "platform/image_imports.h"
#include "platform/posix/threads/waits.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kMutexInitialOwner = 1;

thread_local Mutex* mutexes;

// With the lock held: it has no owner any more.
void release(Mutex* mutex) {
  mutex->owner = 0;
  mutex->entries = 0;
  raise_count(mutex, 1);
  let_go(mutex);
}

}  // namespace

Mutex** own_mutexes() { return &mutexes; }

void abandon_mutexes() {
  while (Mutex* const mutex = mutexes) {
    mutexes = mutex->next;
    mutex->abandoned = true;
    release(mutex);
  }
}

Handle CreateMutexW(const SecurityAttributes*, Bool owned, const char16_t* name) {
  if (name != nullptr) return null_for(kErrorNotSupported);
  auto* const mutex = static_cast<Mutex*>(calloc(1, sizeof(Mutex)));
  if (mutex == nullptr) return null_for(kErrorNotEnoughMemory);
  mutex->references = 1;
  mutex->count = 1;
  mutex->limit = 1;
  mutex->taken = Waitable::Taken::kOwnership;
  const Handle handle = add_handle({HandleKind::kMutex, -1, false, false, false, mutex});
  if (handle == nullptr) {
    free(mutex);
  } else if (owned != 0) {
    ObjectWait wait;
    wait.begin(&handle, 1, false);
    wait.end();
  }
  return handle;
}

Handle CreateMutexA(const SecurityAttributes* security, Bool owned, const char* name) {
  return name ? null_for(kErrorNotSupported) : CreateMutexW(security, owned, nullptr);
}

Handle CreateMutexExA(const SecurityAttributes* security, const char* name, std::uint32_t flags,
                      std::uint32_t) {
  return CreateMutexA(security, flags & kMutexInitialOwner, name);
}

Handle CreateMutexExW(const SecurityAttributes* security, const char16_t* name, std::uint32_t flags,
                      std::uint32_t) {
  return CreateMutexW(security, flags & kMutexInitialOwner, name);
}

Bool ReleaseMutex(Handle handle) {
  const WaitsLock lock;
  auto* const mutex = static_cast<Mutex*>(find_waitable(handle, HandleKind::kMutex));
  if (mutex == nullptr) return 0;
  if (mutex->owner != GetCurrentThreadId()) return fail(kErrorNotOwner);
  if (--mutex->entries > 0) return 1;
  Mutex** link = &mutexes;
  while (*link != mutex) link = &(*link)->next;
  *link = mutex->next;
  release(mutex);
  return 1;
}

}  // namespace tarn::platform
