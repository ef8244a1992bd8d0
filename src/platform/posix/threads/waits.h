// What can be waited for: a count, which waits want to be greater than 0, under one
// lock. Who raises the count ends the waits that it satisfies, the longest first,
// and takes from the count what they take: a wait that was ended needs the lock no
// more.
#pragma once

#include "platform/posix/base/base.h"
#include "platform/posix/threads/threads.h"

namespace tarn::platform {

struct Waitable {
  std::uint32_t references;  // handles, waits, a thread itself, a mutex' owner
  std::int32_t count, limit;
  // By the wait that it ends: nothing, 1 from its count, or the ownership of a Mutex.
  enum class Taken : std::uint8_t { kNothing, kOne, kOwnership } taken;
  WaitPlace *first, *last;
};

// Its count is 1 while it has no owner.
struct Mutex : Waitable {
  std::uint32_t owner;  // its thread's number, or 0
  std::uint32_t entries;
  bool abandoned;  // by an owner that has ended
  Mutex* next;     // of those with the same owner
};

// A thread that has the lock is not suspended.
class WaitsLock {
 public:
  WaitsLock();
  ~WaitsLock();
  WaitsLock(const WaitsLock&) = delete;
  WaitsLock& operator=(const WaitsLock&) = delete;

 private:
  Unsuspended unsuspended_;
};

// The object of an event's, a semaphore's or a thread's handle; null, with the last
// error, for another. All from here on: with the lock held.
Waitable* find_waitable(Handle handle);
Waitable* find_waitable(Handle handle, HandleKind kind);

// Adds to the count, up to the limit, and ends waits.
void raise_count(Waitable* object, std::int32_t more);
void let_go(Waitable* object);

// The mutexes that the calling thread has. Each is a reference.
Mutex** own_mutexes();
// For the end of the calling thread: what it has goes to the next that waits.
void abandon_mutexes();

}  // namespace tarn::platform
