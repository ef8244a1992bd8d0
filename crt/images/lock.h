// A lock that costs nothing until the program starts its first thread. The thread
// that holds it may take it again.
#pragma once

#include "../crt.h"

namespace crt {

// Set before the first thread is started, or the console may start one for a signal, in a DLL
// from the beginning; never cleared. Until then nothing needs a lock.
extern bool has_threads;

class Lock {
 public:
  void acquire() {
    for (int turns = 0; !try_acquire(); ++turns) Sleep(turns < kTurnsBeforeSleep ? 0 : 1);
  }
  bool try_acquire() {
    if (!has_threads) return true;
    const DWORD self = GetCurrentThreadId();
    if (__atomic_load_n(&owner_, __ATOMIC_RELAXED) == self) {
      ++depth_;
      return true;
    }
    if (__atomic_exchange_n(&taken_, true, __ATOMIC_ACQUIRE)) return false;
    __atomic_store_n(&owner_, self, __ATOMIC_RELAXED);
    depth_ = 1;
    return true;
  }
  // Does nothing on a thread that acquired it before there were other threads.
  void release() {
    if (!has_threads || __atomic_load_n(&owner_, __ATOMIC_RELAXED) != GetCurrentThreadId()) return;
    if (--depth_ > 0) return;
    __atomic_store_n(&owner_, 0, __ATOMIC_RELAXED);
    __atomic_store_n(&taken_, false, __ATOMIC_RELEASE);
  }

 private:
  static constexpr int kTurnsBeforeSleep = 50;
  DWORD owner_ = 0;
  int depth_ = 0;
  bool taken_ = false;
};

class Locked {
 public:
  explicit Locked(Lock& lock) : lock_(lock) { lock_.acquire(); }
  ~Locked() { lock_.release(); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  Lock& lock_;
};

}  // namespace crt
