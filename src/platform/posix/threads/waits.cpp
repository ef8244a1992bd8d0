#include "platform/posix/threads/waits.h"

#include <pthread.h>
#include <stdlib.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/threads/thread_record.h"

namespace tarn::platform {
namespace {

pthread_mutex_t waits_lock = PTHREAD_MUTEX_INITIALIZER;

bool is_waitable(HandleKind kind) {
  return kind == HandleKind::kEvent || kind == HandleKind::kSemaphore ||
         kind == HandleKind::kMutex || kind == HandleKind::kThread;
}

}  // namespace

WaitsLock::WaitsLock() { pthread_mutex_lock(&waits_lock); }
WaitsLock::~WaitsLock() { pthread_mutex_unlock(&waits_lock); }

// ---- Objects --------------------------------------------------------------------

Waitable* find_waitable(Handle handle, HandleKind kind) {
  if (kind == HandleKind::kThread && handle == GetCurrentThread()) return own_thread();
  const OpenObject* const object = find_handle(handle, kind);
  return object == nullptr ? nullptr : static_cast<Waitable*>(object->record);
}

Waitable* find_waitable(Handle handle) {
  if (handle == GetCurrentThread()) return own_thread();
  const HandleKind kind = kind_of_handle(handle);
  if (is_waitable(kind)) return find_waitable(handle, kind);
  SetLastError(kErrorInvalidHandle);
  return nullptr;
}

void let_go(Waitable* object) {
  if (--object->references == 0) free(object);
}

Bool close_waitable(Handle handle) {
  const WaitsLock lock;
  const OpenObject object = remove_handle(handle, kind_of_handle(handle));
  if (!is_waitable(object.kind)) return 0;
  let_go(static_cast<Waitable*>(object.record));
  return 1;
}

Handle duplicate_waitable(Handle handle) {
  const WaitsLock lock;
  Waitable* const object = find_waitable(handle);
  if (object == nullptr) return nullptr;
  const HandleKind kind =
      handle == GetCurrentThread() ? HandleKind::kThread : kind_of_handle(handle);
  const Handle copy = add_handle({kind, -1, false, false, false, object});
  if (copy != nullptr) ++object->references;
  return copy;
}

void raise_count(Waitable* object, std::int32_t more) {
  object->count = object->limit - object->count < more ? object->limit : object->count + more;
  ++object->references;  // while waits let it go
  WaitPlace* place = object->first;
  while (place != nullptr && object->count > 0) {
    ObjectWait* const wait = place->wait;
    if (!wait->take(static_cast<std::uint32_t>(place - wait->places_))) {
      place = place->next;
      continue;
    }
    wait->leave_queues();
    const int descriptor = wait->descriptor_;
    __atomic_store_n(&wait->over_, 1, __ATOMIC_RELEASE);
    wake_all(&wait->over_);
    if (descriptor >= 0) {
      constexpr std::uint64_t kOne = 1;
      if (write(descriptor, &kOne, sizeof kOne) < 0) abort();  // an eventfd takes it
    }
    place = object->first;  // the next one may have been the same wait's
  }
  let_go(object);
}

// ---- Waits ----------------------------------------------------------------------

bool ObjectWait::is_there(const Waitable& object) const {
  return object.count > 0 || (object.taken == Waitable::Taken::kOwnership &&
                              static_cast<const Mutex&>(object).owner == thread_);
}

void ObjectWait::take_mutex(Mutex* mutex, std::uint32_t place) {
  if (mutex->entries++ > 0) return;
  mutex->count = 0;
  mutex->owner = thread_;
  mutex->next = *mutexes_;
  *mutexes_ = mutex;
  ++mutex->references;
  if (mutex->abandoned) result_ = kWaitAbandoned + place;
  mutex->abandoned = false;
}

// Ends the wait if the object at `place`, or all of them, are there. The thread's queued
// calls have the place after the objects.
bool ObjectWait::take(std::uint32_t place) {
  if (place == count_) {
    if (places_[place].object->count > 0) result_ = kWaitIoCompletion;
    return result_ == kWaitIoCompletion;
  }
  const std::uint32_t from = all_ ? 0 : place, to = all_ ? count_ : place + 1;
  for (std::uint32_t i = from; i < to; ++i) {
    if (!is_there(*places_[i].object)) return false;
  }
  result_ = kWaitObject + from;
  for (std::uint32_t i = from; i < to; ++i) {
    Waitable* const object = places_[i].object;
    if (object->taken == Waitable::Taken::kOne && object->count > 0) --object->count;
    if (object->taken == Waitable::Taken::kOwnership) take_mutex(static_cast<Mutex*>(object), i);
  }
  return true;
}

void ObjectWait::leave_queues() {
  for (std::uint32_t i = 0; i < places_used_; ++i) {
    WaitPlace& place = places_[i];
    Waitable* const object = place.object;
    (place.previous != nullptr ? place.previous->next : object->first) = place.next;
    (place.next != nullptr ? place.next->previous : object->last) = place.previous;
    let_go(object);
  }
}

ObjectWait::ObjectWait() : thread_(GetCurrentThreadId()), mutexes_(own_mutexes()) {
  begin_waiting();
}

ObjectWait::~ObjectWait() { end_waiting(); }

bool ObjectWait::begin(const Handle* handles, std::uint32_t count, bool all, int descriptor,
                       Waitable* calls) {
  const WaitsLock lock;
  for (std::uint32_t i = 0; i < count; ++i) {
    places_[i] = {find_waitable(handles[i]), this, nullptr, nullptr};
    if (places_[i].object != nullptr) continue;
    result_ = kWaitFailed;
    over_ = 1;
    return true;
  }
  count_ = count;
  places_used_ = count;
  if (calls != nullptr) places_[places_used_++] = {calls, this, nullptr, nullptr};
  all_ = all;
  descriptor_ = descriptor;
  bool taken = false;
  for (std::uint32_t i = 0; i < count && !taken; i = all ? count : i + 1) taken = take(i);
  if (taken || (calls != nullptr && take(count))) {
    over_ = 1;
    return true;
  }
  for (std::uint32_t i = 0; i < places_used_; ++i) {
    WaitPlace& place = places_[i];
    Waitable* const object = place.object;
    ++object->references;
    place.previous = object->last;
    (object->last != nullptr ? object->last->next : object->first) = &place;
    object->last = &place;
  }
  return false;
}

void ObjectWait::sleep(const timespec* end) {
  while (__atomic_load_n(&over_, __ATOMIC_ACQUIRE) == 0 && sleep_on(&over_, 0, end)) {
  }
}

std::uint32_t ObjectWait::end() {
  if (descriptor_ < 0 && __atomic_load_n(&over_, __ATOMIC_ACQUIRE) != 0) return result_;
  const WaitsLock lock;  // who ends it may still write to the descriptor
  if (over_ == 0) {
    leave_queues();
    over_ = 1;
  }
  return result_;
}

}  // namespace tarn::platform
