#include "platform/posix/loader/entry.h"

#include <sys/mman.h>

#include "platform/posix/threads/threads.h"

extern "C" [[noreturn]] void tarn_enter_program(void* stack_end, const void* entry);

namespace tarn::platform {
namespace {

constexpr std::uint32_t kProcessDetach = 0, kProcessAttach = 1;

// The host's routines that a program calls need more stack than Windows'.
constexpr std::uint64_t kSmallestStack = std::uint64_t{1} << 20;
constexpr std::uint64_t kStackGuard = std::uint64_t{1} << 20;

StartOrder program_order;

std::int32_t call_entry(const Image& image, std::uint32_t reason) {
  using DllEntry = std::int32_t(TARNAPI*)(void* base, std::uint32_t reason, void* reserved);
  return reinterpret_cast<DllEntry>(image.base + image.entry)(image.base, reason, nullptr);
}

// A stack between guards that fault; its upper end, or null.
void* make_stack(std::uint64_t wanted) {
  const std::uint64_t least = wanted > kSmallestStack ? wanted : kSmallestStack;
  const std::uint64_t size = ((least + kStackGuard - 1) & ~(kStackGuard - 1)) + 2 * kStackGuard;
  void* const all =
      mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (all == MAP_FAILED) return nullptr;
  auto* const stack = static_cast<char*>(all) + kStackGuard;
  const std::uint64_t usable = size - 2 * kStackGuard;
  if (mprotect(stack, usable, PROT_READ | PROT_WRITE) != 0) {
    munmap(all, size);
    return nullptr;
  }
  set_stack_low(stack);
  return stack + usable;
}

}  // namespace

bool start_modules(const StartOrder& order, LoadError* error) {
  for (int i = 0; i < order.count; ++i) {
    ModuleRecord* const record = &modules[order.modules[i]];
    record->state = ModuleState::kStarted;
    if (order.modules[i] == kMainImage) continue;
    if (call_entry(record->image, kProcessAttach) == 0) {
      return refuse(error, "%s failed to start", record->path);
    }
  }
  return true;
}

void stop_module(const ModuleRecord& record) { call_entry(record.image, kProcessDetach); }

void set_program_order(const StartOrder& order) { program_order = order; }

void run_program(LoadError* error) {
  const Image& image = modules[kMainImage].image;
  void* const stack_end = make_stack(image.stack_reserve);
  if (!stack_end) {
    refuse(error, "there is not enough memory for its stack of %llu bytes",
           static_cast<unsigned long long>(image.stack_reserve));
    return;
  }
  {
    const ModuleLock lock;
    if (!start_modules(program_order, error)) return;
  }
  tarn_enter_program(stack_end, image.base + image.entry);
}

}  // namespace tarn::platform
