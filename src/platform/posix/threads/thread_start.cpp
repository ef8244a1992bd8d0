// What a thread starts with, and the stack whose overflow is reported.

#include <pthread.h>
#include <sys/mman.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/threads/threads.h"

namespace tarn::platform {
namespace {

// Room for a handler that composes a report with its buffers.
constexpr std::size_t kSignalStackSize = 512 * 1024;

struct Stack {
  std::uint64_t low, high;
};
thread_local Stack own_stack;

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

void set_stack(const void* low, const void* high) {
  own_stack = {reinterpret_cast<std::uint64_t>(low), reinterpret_cast<std::uint64_t>(high)};
}

void find_stack() {
  pthread_attr_t attributes;
  if (own_stack.low != 0 || pthread_getattr_np(pthread_self(), &attributes) != 0) return;
  void* low = nullptr;
  std::size_t size = 0;
  if (pthread_attr_getstack(&attributes, &low, &size) == 0) {
    set_stack(low, static_cast<char*>(low) + size);
  }
  pthread_attr_destroy(&attributes);
}

std::uint64_t stack_low() { return own_stack.low; }

void GetCurrentThreadStackLimits(std::uint64_t* low, std::uint64_t* high) {
  *low = own_stack.low;
  *high = own_stack.high;
}

void* give_signal_stack() {
  stack_t current{};
  if (sigaltstack(nullptr, &current) == 0 && !(current.ss_flags & SS_DISABLE) &&
      current.ss_size >= kSignalStackSize) {
    return nullptr;
  }
  void* const memory = mmap(nullptr, kSignalStackSize, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  stack_t stack{};
  stack.ss_sp = memory;
  stack.ss_size = kSignalStackSize;
  sigaltstack(&stack, nullptr);
  return memory;
}

OverflowRoom::OverflowRoom() : memory_(give_signal_stack()) { find_stack(); }

OverflowRoom::~OverflowRoom() {
  if (memory_ == nullptr) return;
  stack_t none{};
  none.ss_flags = SS_DISABLE;
  sigaltstack(&none, nullptr);
  munmap(memory_, kSignalStackSize);
}

}  // namespace tarn::platform
