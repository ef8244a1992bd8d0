// Critical sections, in the caller's own memory; a waiter sleeps on the state.

#include <limits.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/image_imports.h"

namespace tarn::platform {
namespace {

enum State : std::int32_t { kFreeSection, kTaken, kWaitedFor };

bool take_free(CriticalSection* section) {
  std::int32_t expected = kFreeSection;
  return __atomic_compare_exchange_n(&section->state, &expected, kTaken, false, __ATOMIC_ACQUIRE,
                                     __ATOMIC_RELAXED);
}

void own(CriticalSection* section, std::uint64_t thread) {
  __atomic_store_n(&section->owner, thread, __ATOMIC_RELAXED);
  section->recursion = 1;
}

// Only the owner itself can see its own number there.
bool enter_again(CriticalSection* section, std::uint64_t thread) {
  if (__atomic_load_n(&section->owner, __ATOMIC_RELAXED) != thread) return false;
  ++section->recursion;
  return true;
}

// Apart, so that who need not wait saves no registers for the host's convention.
[[gnu::noinline]] TARNAPI void take_in_turn(CriticalSection* section) {
  while (__atomic_exchange_n(&section->state, kWaitedFor, __ATOMIC_ACQUIRE) != kFreeSection) {
    syscall(SYS_futex, &section->state, FUTEX_WAIT_PRIVATE, kWaitedFor, nullptr, nullptr, 0);
  }
}

}  // namespace

void InitializeCriticalSection(CriticalSection* section) { *section = CriticalSection{}; }

Bool InitializeCriticalSectionAndSpinCount(CriticalSection* section, std::uint32_t) {
  InitializeCriticalSection(section);
  return 1;
}

Bool InitializeCriticalSectionEx(CriticalSection* section, std::uint32_t, std::uint32_t) {
  InitializeCriticalSection(section);
  return 1;
}

void EnterCriticalSection(CriticalSection* section) {
  const std::uint64_t self = GetCurrentThreadId();
  if (enter_again(section, self)) return;
  if (!take_free(section)) take_in_turn(section);
  own(section, self);
}

Bool TryEnterCriticalSection(CriticalSection* section) {
  const std::uint64_t self = GetCurrentThreadId();
  if (enter_again(section, self)) return 1;
  if (!take_free(section)) return 0;
  own(section, self);
  return 1;
}

void LeaveCriticalSection(CriticalSection* section) {
  if (--section->recursion > 0) return;
  __atomic_store_n(&section->owner, 0, __ATOMIC_RELAXED);
  if (__atomic_exchange_n(&section->state, kFreeSection, __ATOMIC_RELEASE) == kWaitedFor) {
    syscall(SYS_futex, &section->state, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
  }
}

void DeleteCriticalSection(CriticalSection* section) { *section = CriticalSection{}; }

}  // namespace tarn::platform
