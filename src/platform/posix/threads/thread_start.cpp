// What a thread starts with, and the stack whose overflow is reported.

#include <pthread.h>

#include "platform/posix/base/base.h"
#include "platform/posix/threads/threads.h"

namespace tarn::platform {
namespace {

std::uint64_t lowest_of_stack;

}  // namespace

void block_sent_signals(sigset_t* before) {
  sigset_t sent;
  sigfillset(&sent);
  for (const int fault : kFaultSignals) sigdelset(&sent, fault);
  sigdelset(&sent, kSuspendSignal);
  pthread_sigmask(SIG_SETMASK, &sent, before);
}

void set_initial_modes() {
  constexpr std::uint32_t kMxcsr = 0x1F80;
  constexpr std::uint16_t kX87Control = 0x27F;
  asm volatile("ldmxcsr %0" ::"m"(kMxcsr));
  asm volatile("fldcw %0" ::"m"(kX87Control));
}

void set_stack_low(const void* low) { lowest_of_stack = reinterpret_cast<std::uint64_t>(low); }

void find_first_stack() {
  pthread_attr_t attributes;
  if (lowest_of_stack != 0 || pthread_getattr_np(pthread_self(), &attributes) != 0) return;
  void* low = nullptr;
  std::size_t size = 0;
  if (pthread_attr_getstack(&attributes, &low, &size) == 0) set_stack_low(low);
  pthread_attr_destroy(&attributes);
}

std::uint64_t stack_low() { return lowest_of_stack; }

}  // namespace tarn::platform
