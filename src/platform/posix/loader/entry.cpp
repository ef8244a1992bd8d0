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

// What a start uses of it, mostly for paths of a page each. One call takes these pages faster
// than one fault each.
constexpr std::uint64_t kUsedByStart = std::uint64_t{24} << 10;

StartOrder program_order;

std::int32_t call_entry(const Image& image, std::uint32_t reason) {
  using DllEntry = std::int32_t(TARNAPI*)(void* base, std::uint32_t reason, void* reserved);
  return reinterpret_cast<DllEntry>(image.base + image.entry)(image.base, reason, nullptr);
}

// The upper end of the program's stack, which lies between guards that fault.
void* stack_end;

}  // namespace

bool start_modules(const StartOrder& order, LoadError* error) {
  for (int i = 0; i < order.count; ++i) {
    ModuleRecord* const record = &modules[order.modules[i]];
    set_state(record, ModuleState::kStarted);
    if (order.modules[i] == kMainImage) continue;
    if (call_entry(record->image, kProcessAttach) == 0) {
      return refuse(error, "%s failed to start", path_of(*record));
    }
  }
  return true;
}

void stop_module(const ModuleRecord& record) { call_entry(record.image, kProcessDetach); }

void set_program_order(const StartOrder& order) { program_order = order; }

bool make_stack(std::uint64_t wanted, LoadError* error) {
  const std::uint64_t least = wanted > kSmallestStack ? wanted : kSmallestStack;
  const std::uint64_t usable = (least + kStackGuard - 1) & ~(kStackGuard - 1);
  const std::uint64_t size = usable + 2 * kStackGuard;
  void* const all =
      mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  auto* const stack = static_cast<char*>(all) + kStackGuard;
  if (all == MAP_FAILED || mprotect(stack, usable, PROT_READ | PROT_WRITE) != 0) {
    if (all != MAP_FAILED) munmap(all, size);
    return refuse(error, "there is not enough memory for its stack of %llu bytes",
                  static_cast<unsigned long long>(wanted));
  }
  stack_end = stack + usable;
  madvise(stack + usable - kUsedByStart, kUsedByStart, MADV_POPULATE_WRITE);
  set_stack(stack, stack_end);
  return true;
}

void run_program(LoadError* error) {
  {
    const ModuleLock lock;
    if (!start_modules(program_order, error)) return;
  }
  const Image& image = modules[kMainImage].image;
  tarn_enter_program(stack_end, image.base + image.entry);
}

}  // namespace tarn::platform
