#include <errno.h>
#include <limits.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

// Also read by the signal's handler, on the same thread.
thread_local volatile std::uint32_t held_off;
thread_local volatile bool put_off;

}  // namespace

Unsuspended::Unsuspended() { held_off = held_off + 1; }

Unsuspended::~Unsuspended() {
  held_off = held_off - 1;
  if (held_off > 0 || !put_off) return;
  put_off = false;
  pthread_kill(pthread_self(), kSuspendSignal);
}

bool put_off_suspension() {
  if (held_off == 0) return false;
  put_off = true;
  return true;
}

bool sleep_on(const std::uint32_t* word, std::uint32_t value, const timespec* end) {
  constexpr int kAbsoluteTime = FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG;
  return syscall(SYS_futex, word, kAbsoluteTime, value, end, nullptr, FUTEX_BITSET_MATCH_ANY) ==
             0 ||
         errno != ETIMEDOUT;
}

void wake_one(const std::uint32_t* word) {
  syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

void wake_all(const std::uint32_t* word) {
  syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

}  // namespace tarn::platform
