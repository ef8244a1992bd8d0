#include <pthread.h>

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

}  // namespace tarn::platform
