#include "tests/support/raised.h"

#include <cstring>

#include "platform/platform.h"

#ifdef __has_feature
#if __has_feature(address_sanitizer) && !defined(__SANITIZE_ADDRESS__)
#define __SANITIZE_ADDRESS__ 1
#endif
#endif
#ifdef __SANITIZE_ADDRESS__
extern "C" void __asan_handle_no_return();
#endif

namespace tarn {
extern "C" TARNAPI void __initialise_cpplib();
}

namespace tarn::test {
namespace {

constexpr int kTexts = 6;
constexpr std::size_t kTextSize = 4096;  // longer texts are cut
constexpr std::uint8_t kTrap[] = {0xCD, 0x09};
constexpr std::uint32_t kErrorSeverity = 0x80000000;
constexpr std::uint32_t kMxcsrAtStart = 0x1F80;
constexpr std::uint64_t kBelowFrame = 512;  // keeps clear of the frame that faulted

// One running call. The handler stores plain bytes only: it runs at the fault.
struct Guard {
  Guard* outer;
  bool wants_number;
  bool stopped;
  void* resume[5];
  std::int64_t number;
  char text[kTexts][kTextSize];
  Fault fault;
};

thread_local Guard* innermost;

bool read_safely(std::uint64_t address, void* destination, std::size_t size) {
  std::uint64_t copied = 0;
  return platform::ReadProcessMemory(platform::GetCurrentProcess(),
                                     reinterpret_cast<const void*>(address), destination, size,
                                     &copied) != 0 &&
         copied == size;
}

void copy_text(std::uint64_t address, char (&text)[kTextSize]) {
  std::size_t length = 0;
  while (length + 1 < kTextSize && read_safely(address + length, text + length, 1) &&
         text[length]) {
    ++length;
  }
  text[length] = '\0';
}

// Entered in place of the instruction that trapped, on its stack.
[[noreturn]] void leave() {
  Guard* const guard = innermost;
  innermost = guard->outer;
#ifdef __SANITIZE_ADDRESS__
  __asan_handle_no_return();
#endif
  __builtin_longjmp(guard->resume, 1);
}

TARNAPI std::int32_t on_exception(platform::ExceptionPointers* exception) {
  Guard* const guard = innermost;
  const platform::ExceptionRecord& record = *exception->record;
  platform::AMD_CONTEXT& context = *exception->context;
  if (!guard || guard->stopped || !(record.code & kErrorSeverity)) {
    return platform::kContinueSearch;
  }
  if (guard->wants_number) {
    std::uint8_t code[sizeof kTrap];
    if (record.code != platform::kExceptionAccessViolation ||
        !read_safely(context.Rip, code, sizeof code) ||
        std::memcmp(code, kTrap, sizeof kTrap) != 0) {
      return platform::kContinueSearch;
    }
    guard->number = static_cast<std::int64_t>(context.Rax);
    const std::uint64_t arguments[kTexts] = {context.R8,  context.R9,  context.R10,
                                             context.R11, context.R12, context.R13};
    for (int i = 0; i < kTexts; ++i) copy_text(arguments[i], guard->text[i]);
  } else {
    guard->fault = {true, record.code, 0, 0, context.Rip};
    if (record.code == platform::kExceptionAccessViolation) {
      guard->fault.access = record.parameters[0];
      guard->fault.address = record.parameters[1];
    }
  }
  guard->stopped = true;
  context.Rip = reinterpret_cast<std::uint64_t>(&leave);
  context.Rsp = ((context.Rsp - kBelowFrame) & ~std::uint64_t{15}) - 8;
  context.EFlags &= ~0x0500u;  // no trap flag, direction upward
  context.MxCsr = kMxcsrAtStart;
  std::memcpy(context.FxSaveArea + 24, &kMxcsrAtStart, sizeof kMxcsrAtStart);
  return platform::kContinueExecution;
}

// True if the call came to its end.
__attribute__((noinline)) void run(Guard* guard, GuardedCall call, void* argument) {
  static const void* const registration = platform::AddVectoredExceptionHandler(1, &on_exception);
  if (!registration) __builtin_trap();
  guard->outer = innermost;
  std::uint32_t mxcsr;
  asm volatile("stmxcsr %0" : "=m"(mxcsr));
  if (__builtin_setjmp(guard->resume) == 0) {
    innermost = guard;
    call(argument);
    innermost = guard->outer;
  } else {
    asm volatile("ldmxcsr %0" : : "m"(mxcsr));
  }
}

}  // namespace

void initialise() {
  static bool done = false;
  if (!done) __initialise_cpplib();
  done = true;
}

Raised run_until_raised(GuardedCall call, void* argument) {
  Guard* const guard = new Guard{};
  guard->wants_number = true;
  guard->number = -1;
  run(guard, call, argument);
  Raised raised;
  raised.number = guard->number;
  for (int i = 0; i < kTexts; ++i) raised.text[i] = guard->text[i];
  delete guard;
  return raised;
}

Fault run_until_fault(GuardedCall call, void* argument) {
  Guard* const guard = new Guard{};
  run(guard, call, argument);
  const Fault fault = guard->fault;
  delete guard;
  return fault;
}

}  // namespace tarn::test
