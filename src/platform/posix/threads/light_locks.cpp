// Locks, condition variables and single initialisations in the caller's own memory, which is
// zero at first. They need no handle and are never deleted; a waiter sleeps on their word.

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

std::uint32_t load(const std::uint32_t& word) { return __atomic_load_n(&word, __ATOMIC_ACQUIRE); }

bool change(std::uint32_t* word, std::uint32_t from, std::uint32_t to) {
  return __atomic_compare_exchange_n(word, &from, to, false, __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE);
}

// Of a lock's state: the owner's bit, that of waiters, and the number of those that share it.
// Who shares it waits for a waiter that does not, or owners would wait for ever.
constexpr std::uint32_t kOwned = 1u << 31, kWaitedFor = 1u << 30;

bool take(std::uint32_t* state, bool shared) {
  std::uint32_t now = load(*state);
  while (shared ? (now & (kOwned | kWaitedFor)) == 0 : (now & ~kWaitedFor) == 0) {
    if (change(state, now, shared ? now + 1 : now | kOwned)) return true;
    now = load(*state);
  }
  return false;
}

void take_in_turn(std::uint32_t* state, bool shared) {
  while (!take(state, shared)) {
    const std::uint32_t now = load(*state);
    if (now == 0) continue;
    if ((now & kWaitedFor) != 0 || change(state, now, now | kWaitedFor)) {
      sleep_on(state, now | kWaitedFor, nullptr);
    }
  }
}

void give_back(std::uint32_t* state, std::uint32_t part) {
  std::uint32_t now, left;
  do {
    now = load(*state);
    left = now - part;
    if ((left & ~kWaitedFor) == 0) left = 0;
  } while (!change(state, now, left));
  if (left == 0 && (now & kWaitedFor) != 0) wake_all(state);
}

// The lock is left by `leave` only after the variable's number is known, so that no wake in
// between is lost.
template <class Leave, class Enter>
Bool wait_for_wake(ConditionVariable* variable, std::uint32_t milliseconds, Leave leave,
                   Enter enter) {
  const std::uint32_t wakes = load(variable->wakes);
  const timespec end = deadline_after(milliseconds);
  leave();
  const bool woken =
      sleep_on(&variable->wakes, wakes, milliseconds == kWaitForever ? nullptr : &end);
  enter();
  return woken ? 1 : fail(kErrorTimeout);
}

// Of an initialisation: the two low bits of its word; the others are the context once it is
// done.
enum Progress : std::uint64_t { kNotBegun, kInProgress, kDone, kRacing, kProgressBits = 3 };
constexpr std::uint32_t kCheckOnly = 1, kAsynchronous = 2, kInitialisationFailed = 4;

// The low half of the word, on which others sleep.
const std::uint32_t* half(const SingleInitialisation* once) {
  return reinterpret_cast<const std::uint32_t*>(once);
}

std::uint64_t load(const SingleInitialisation* once) {
  return __atomic_load_n(&once->word, __ATOMIC_ACQUIRE);
}

bool change(SingleInitialisation* once, std::uint64_t from, std::uint64_t to) {
  return __atomic_compare_exchange_n(&once->word, &from, to, false, __ATOMIC_ACQ_REL,
                                     __ATOMIC_ACQUIRE);
}

Bool done(std::uint64_t word, void** context) {
  if (context) *context = reinterpret_cast<void*>(word & ~kProgressBits);
  return 1;
}

}  // namespace

void InitializeSRWLock(SharedLock* lock) { *lock = {}; }
void AcquireSRWLockExclusive(SharedLock* lock) { take_in_turn(&lock->state, false); }
void AcquireSRWLockShared(SharedLock* lock) { take_in_turn(&lock->state, true); }
std::uint8_t TryAcquireSRWLockExclusive(SharedLock* lock) { return take(&lock->state, false); }
std::uint8_t TryAcquireSRWLockShared(SharedLock* lock) { return take(&lock->state, true); }
void ReleaseSRWLockExclusive(SharedLock* lock) { give_back(&lock->state, kOwned); }
void ReleaseSRWLockShared(SharedLock* lock) { give_back(&lock->state, 1); }

void InitializeConditionVariable(ConditionVariable* variable) { *variable = {}; }

void WakeAllConditionVariable(ConditionVariable* variable) {
  __atomic_add_fetch(&variable->wakes, 1, __ATOMIC_RELEASE);
  wake_all(&variable->wakes);
}

// One that wakes without a reason looks at its condition again, as all have to.
void WakeConditionVariable(ConditionVariable* variable) {
  __atomic_add_fetch(&variable->wakes, 1, __ATOMIC_RELEASE);
  wake_one(&variable->wakes);
}

Bool SleepConditionVariableCS(ConditionVariable* variable, CriticalSection* section,
                              std::uint32_t milliseconds) {
  return wait_for_wake(
      variable, milliseconds, [section] { LeaveCriticalSection(section); },
      [section] { EnterCriticalSection(section); });
}

Bool SleepConditionVariableSRW(ConditionVariable* variable, SharedLock* lock,
                               std::uint32_t milliseconds, std::uint32_t flags) {
  const bool shared = (flags & 1) != 0;
  return wait_for_wake(
      variable, milliseconds, [=] { give_back(&lock->state, shared ? 1 : kOwned); },
      [=] { take_in_turn(&lock->state, shared); });
}

void InitOnceInitialize(SingleInitialisation* once) { *once = {}; }

Bool InitOnceBeginInitialize(SingleInitialisation* once, std::uint32_t flags, Bool* pending,
                             void** context) {
  for (;;) {
    const std::uint64_t word = load(once);
    *pending = (word & kProgressBits) != kDone;
    if (!*pending) return done(word, context);
    if (flags & kCheckOnly) return fail(kErrorGenFailure);
    const bool racing = (flags & kAsynchronous) != 0;
    if (word == kNotBegun && change(once, word, racing ? kRacing : kInProgress)) return 1;
    if (word == kRacing && racing) return 1;
    if (word != kNotBegun && racing != (word == kRacing)) return fail(kErrorInvalidParameter);
    if (word == kInProgress) sleep_on(half(once), kInProgress, nullptr);
  }
}

Bool InitOnceComplete(SingleInitialisation* once, std::uint32_t flags, void* context) {
  const auto value = reinterpret_cast<std::uint64_t>(context);
  const bool failed = (flags & kInitialisationFailed) != 0;
  if ((value & kProgressBits) != 0 || (failed && value != 0)) return fail(kErrorInvalidParameter);
  const std::uint64_t from = (flags & kAsynchronous) ? kRacing : kInProgress;
  if (!change(once, from, failed ? kNotBegun : value | kDone)) return fail(kErrorGenFailure);
  wake_all(half(once));
  return 1;
}

Bool InitOnceExecuteOnce(SingleInitialisation* once, OnceRoutine routine, void* parameter,
                         void** context) {
  Bool pending;
  if (!InitOnceBeginInitialize(once, 0, &pending, context)) return 0;
  if (!pending) return 1;
  void* result = nullptr;
  const bool worked = routine(once, parameter, &result) != 0;
  InitOnceComplete(once, worked ? 0 : kInitialisationFailed, worked ? result : nullptr);
  if (worked && context) *context = result;
  return worked;
}

}  // namespace tarn::platform
