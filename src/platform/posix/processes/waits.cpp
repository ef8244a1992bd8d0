// Waits for objects of every kind. The ends of processes are descriptors of the host;
// a wait for them and for other objects at once sleeps in poll, and has a descriptor
// for the others.

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/processes/child_processes.h"
#include "platform/posix/threads/threads.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kNone = kMostWaits;

// Until one of them is readable. False at the end of the time.
bool poll_until(pollfd* polled, std::uint32_t count, std::uint32_t milliseconds,
                const timespec& end) {
  for (;;) {
    const int left = milliseconds == kWaitForever ? -1 : milliseconds_until(end);
    const int ready = poll(polled, count, left);
    if (ready > 0) return true;
    if (left == 0) return false;
  }
}

// What a wait is for: its processes and its other objects, with their places in it.
class Objects {
 public:
  Objects() = default;
  ~Objects() {
    for (std::uint32_t i = 0; i < processes_; ++i) {
      if (held_[i] != nullptr) stop_holding(held_[i]);
    }
  }
  Objects(const Objects&) = delete;
  Objects& operator=(const Objects&) = delete;

  // False, with the last error, for a handle that stands for no process. Whether the
  // others are objects is seen when the wait begins.
  bool sort(const Handle* handles, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      Process* process = nullptr;
      int descriptor = -1;  // of the process itself, which does not end here
      if (kind_of_handle(handles[i]) == HandleKind::kProcess) {
        process = hold_process(handles[i], &descriptor);
        if (process == nullptr) return false;
      } else if (handles[i] != GetCurrentProcess()) {
        others_[other_count_] = handles[i];
        other_places_[other_count_++] = i;
        continue;
      }
      held_[processes_] = process;
      polled_[processes_] = {descriptor, POLLIN, 0};
      process_places_[processes_++] = i;
    }
    return true;
  }

  // `calls`: the thread's queued calls, if they may end the wait.
  std::uint32_t wait_for_any(std::uint32_t milliseconds, const timespec& end, Waitable* calls) {
    if (processes_ > 0) poll(polled_, processes_, 0);
    std::uint32_t ended = first_ended();
    std::uint32_t before = 0;  // of the other objects, those with a lower place
    while (before < other_count_ && other_places_[before] < ended) ++before;
    const bool sleeps = ended == kNone && milliseconds != 0;
    const int descriptor = sleeps && processes_ > 0 && (other_count_ > 0 || calls != nullptr)
                               ? eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)
                               : -1;
    std::uint32_t other = kWaitTimeout;
    {
      ObjectWait wait;
      const bool over =
          wait.begin(others_, before, false, descriptor, ended == kNone ? calls : nullptr);
      if (!over && sleeps && processes_ > 0) {
        polled_[processes_] = {descriptor, POLLIN, 0};
        poll_until(polled_, processes_ + 1, milliseconds, end);
        ended = first_ended();
      } else if (!over && sleeps) {
        wait.sleep(milliseconds == kWaitForever ? nullptr : &end);
      }
      other = wait.end();
    }
    if (descriptor >= 0) close(descriptor);
    if (other == kWaitFailed || other == kWaitIoCompletion) return other;
    if (other != kWaitTimeout) {
      const std::uint32_t abandoned = other & kWaitAbandoned;
      return (kWaitObject | abandoned) + other_places_[other - abandoned];
    }
    return ended == kNone ? kWaitTimeout : kWaitObject + ended;
  }

  // What has ended stays so: one process after the other, then the other objects.
  std::uint32_t wait_for_all(std::uint32_t milliseconds, const timespec& end, Waitable* calls) {
    for (std::uint32_t i = 0; i < processes_; ++i) {
      Objects one;
      one.processes_ = 1;
      one.held_[0] = nullptr;
      one.polled_[0] = polled_[i];
      one.process_places_[0] = 0;
      const std::uint32_t result = one.wait_for_any(milliseconds, end, calls);
      if (result != kWaitObject) return result;
    }
    if (other_count_ == 0) return kWaitObject;
    ObjectWait wait;
    if (!wait.begin(others_, other_count_, true, -1, calls) && milliseconds != 0) {
      wait.sleep(milliseconds == kWaitForever ? nullptr : &end);
    }
    return wait.end();
  }

 private:
  // The place of the first process whose end the last poll has seen, or kNone.
  std::uint32_t first_ended() const {
    for (std::uint32_t i = 0; i < processes_; ++i) {
      if (polled_[i].revents != 0) return process_places_[i];
    }
    return kNone;
  }

  Process* held_[kMostWaits];
  pollfd polled_[kMostWaits + 1];
  Handle others_[kMostWaits];
  std::uint32_t process_places_[kMostWaits], other_places_[kMostWaits];
  std::uint32_t processes_ = 0, other_count_ = 0;
};

}  // namespace

std::uint32_t WaitForMultipleObjectsEx(std::uint32_t count, const Handle* handles, Bool all,
                                       std::uint32_t milliseconds, Bool alertable) {
  if (count == 0 || count > kMostWaits) {
    fail(kErrorInvalidParameter);
    return kWaitFailed;
  }
  Waitable* const calls = alertable != 0 ? own_queued_calls() : nullptr;
  if (alertable != 0 && calls == nullptr) return kWaitFailed;
  const timespec end = deadline_after(milliseconds);
  std::uint32_t result = kWaitFailed;
  {
    Objects objects;
    if (!objects.sort(handles, count)) return kWaitFailed;
    result = all != 0 ? objects.wait_for_all(milliseconds, end, calls)
                      : objects.wait_for_any(milliseconds, end, calls);
  }
  if (result == kWaitIoCompletion) run_queued_calls();
  return result;
}

std::uint32_t WaitForMultipleObjects(std::uint32_t count, const Handle* handles, Bool all,
                                     std::uint32_t milliseconds) {
  return WaitForMultipleObjectsEx(count, handles, all, milliseconds, 0);
}

std::uint32_t WaitForSingleObject(Handle object, std::uint32_t milliseconds) {
  return WaitForMultipleObjectsEx(1, &object, 0, milliseconds, 0);
}

std::uint32_t WaitForSingleObjectEx(Handle object, std::uint32_t milliseconds, Bool alertable) {
  return WaitForMultipleObjectsEx(1, &object, 0, milliseconds, alertable);
}

std::uint32_t SleepEx(std::uint32_t milliseconds, Bool alertable) {
  Waitable* const calls = alertable != 0 ? own_queued_calls() : nullptr;
  if (calls == nullptr) {
    Sleep(milliseconds);
    return 0;
  }
  const timespec end = deadline_after(milliseconds);
  std::uint32_t result = 0;
  {
    ObjectWait wait;
    if (!wait.begin(nullptr, 0, false, -1, calls) && milliseconds != 0) {
      wait.sleep(milliseconds == kWaitForever ? nullptr : &end);
    }
    result = wait.end();
  }
  if (result != kWaitIoCompletion) return 0;
  run_queued_calls();
  return kWaitIoCompletion;
}

}  // namespace tarn::platform
