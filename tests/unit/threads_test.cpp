// Threads, events and waits of a platform: the same expectations of both back
// ends. A test orders its threads by events; it sleeps only where a time-out
// itself is looked at.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <atomic>

#include "platform/platform.h"

namespace {

using namespace tarn::platform;

constexpr SecurityAttributes kInherited = {24, nullptr, 1};
constexpr std::uint32_t kShortWait = 15;  // of what must not happen

Handle new_event(bool manual_reset, bool signalled = false) {
  return CreateEventA(&kInherited, manual_reset, signalled, nullptr);
}

Handle new_thread(ThreadRoutine routine, void* argument, std::uint32_t flags = 0) {
  std::uint32_t id = 0;
  return CreateThread(&kInherited, 0, routine, argument, flags, &id);
}

TEST(Events, AutoResetIsTakenByOneWaitAndManualResetStays) {
  const Handle automatic = new_event(false, true);
  EXPECT_EQ(WaitForSingleObject(automatic, kWaitForever), kWaitObject);
  EXPECT_EQ(WaitForSingleObject(automatic, 0), kWaitTimeout);
  SetEvent(automatic);
  SetEvent(automatic);  // signalled is not a count
  EXPECT_EQ(WaitForSingleObject(automatic, 0), kWaitObject);
  EXPECT_EQ(WaitForSingleObject(automatic, kShortWait), kWaitTimeout);

  const Handle manual = new_event(true);
  EXPECT_EQ(WaitForSingleObject(manual, 0), kWaitTimeout);
  SetEvent(manual);
  EXPECT_EQ(WaitForSingleObject(manual, 0), kWaitObject);
  EXPECT_EQ(WaitForSingleObject(manual, 0), kWaitObject);
  EXPECT_TRUE(CloseHandle(automatic));
  EXPECT_TRUE(CloseHandle(manual));
}

struct Waiters {
  Handle gate, passed;
  std::atomic<int> count{0};
};

TEST(Events, EachSignalOfAnAutoResetEventReleasesOneWaiter) {
  Waiters waiters{new_event(false), new_event(false)};
  constexpr int kThreads = 3;
  Handle threads[kThreads];
  for (Handle& thread : threads) {
    thread = new_thread(
        [](void* record) TARNAPI -> std::uint32_t {
          auto* const all = static_cast<Waiters*>(record);
          WaitForSingleObject(all->gate, kWaitForever);
          ++all->count;
          SetEvent(all->passed);
          return 0;
        },
        &waiters);
    ASSERT_NE(thread, nullptr);
  }
  for (int released = 1; released <= kThreads; ++released) {
    SetEvent(waiters.gate);
    EXPECT_EQ(WaitForSingleObject(waiters.passed, kWaitForever), kWaitObject);
    EXPECT_EQ(WaitForSingleObject(waiters.passed, 1), kWaitTimeout);
    EXPECT_EQ(waiters.count, released);
  }
  for (const Handle thread : threads) {
    EXPECT_EQ(WaitForSingleObject(thread, kWaitForever), kWaitObject);
    CloseHandle(thread);
  }
  CloseHandle(waiters.gate);
  CloseHandle(waiters.passed);
}

TEST(Threads, ASuspendedOneRunsWhenResumedAndStaysSignalledAtItsEnd) {
  std::atomic<int> runs{0};
  const Handle thread = new_thread(
      [](void* argument) TARNAPI -> std::uint32_t {
        ++*static_cast<std::atomic<int>*>(argument);
        return !TerminateThread(GetCurrentThread(), kWaitTimeout);
      },
      &runs, kCreateSuspended);
  ASSERT_NE(thread, nullptr);
  EXPECT_EQ(WaitForSingleObject(thread, kShortWait), kWaitTimeout);
  EXPECT_EQ(runs, 0);
  EXPECT_TRUE(SetThreadPriority(thread, 0));
  EXPECT_FALSE(SetThreadPriority(thread, 77));
  EXPECT_EQ(ResumeThread(thread), 1u);
  EXPECT_EQ(WaitForSingleObject(thread, kWaitForever), kWaitObject);
  EXPECT_EQ(WaitForSingleObject(thread, 0), kWaitObject);
  EXPECT_EQ(runs, 1);
  EXPECT_TRUE(CloseHandle(thread));
}

TEST(Threads, OneWhoseHandleIsClosedGoesOn) {
  Waiters both{new_event(false), new_event(false)};
  CloseHandle(new_thread(
      [](void* record) TARNAPI -> std::uint32_t {
        auto* const all = static_cast<Waiters*>(record);
        WaitForSingleObject(all->gate, kWaitForever);
        SetEvent(all->passed);
        return 0;
      },
      &both));
  SetEvent(both.gate);
  EXPECT_EQ(WaitForSingleObject(both.passed, kWaitForever), kWaitObject);
  CloseHandle(both.gate);
  CloseHandle(both.passed);
}

TEST(Threads, BeginWithTheSystemsFloatingPointModes) {
  std::atomic<std::uint32_t> modes{0};
  const std::uint32_t before = _mm_getcsr();
  _mm_setcsr((before & ~0x1000u) | 0x6000u);  // inexact results trap, and are cut
  const Handle thread = new_thread(
      [](void* argument) TARNAPI -> std::uint32_t {
        *static_cast<std::atomic<std::uint32_t>*>(argument) = _mm_getcsr() & 0xFFC0;
        return 0;
      },
      &modes);
  _mm_setcsr(before);
  EXPECT_EQ(WaitForSingleObject(thread, kWaitForever), kWaitObject);
  EXPECT_EQ(modes, 0x1F80u);
  CloseHandle(thread);
}

TEST(Waits, RefuseWhatIsNoObjectToWaitFor) {
  const Handle closed = new_event(true, true);
  ASSERT_TRUE(CloseHandle(closed));
  for (const Handle handle : {closed, Handle{}, reinterpret_cast<Handle>(0x7FFFFFF0)}) {
    SetLastError(0);
    EXPECT_EQ(WaitForSingleObject(handle, 0), kWaitFailed) << handle;
    EXPECT_EQ(GetLastError(), kErrorInvalidHandle) << handle;
    EXPECT_FALSE(SetEvent(handle));
    EXPECT_EQ(ResumeThread(handle), kWaitFailed);
    EXPECT_FALSE(CloseHandle(handle));
  }
  const Handle event = new_event(true);
  EXPECT_EQ(ResumeThread(event), kWaitFailed);
  EXPECT_FALSE(SetThreadPriority(event, 0));
  CloseHandle(event);
}

}  // namespace
