#include "tests/cases/machine.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/platform.h"
#include "tests/cases/own_routines.h"
#ifndef _WIN32
#include "exports/export_table.h"
#endif

#ifdef __SANITIZE_ADDRESS__
extern "C" void __asan_handle_no_return();
#endif

namespace tarn::cases {
namespace {

constexpr std::uint8_t kTrap[] = {0xCD, 0x09};
constexpr std::uint32_t kErrorSeverity = 0x80000000;
constexpr std::size_t kTextSize = 256;

// Of the running call. The handler stores plain bytes alone.
struct {
  volatile bool running;
  bool stopped, raised;
  std::uint32_t thread, code;
  std::uint64_t number, address, instruction;
  char texts[6][kTextSize];
} state;

bool read_safely(std::uint64_t address, void* to, std::size_t size) {
  std::uint64_t copied = 0;
  return platform::ReadProcessMemory(platform::GetCurrentProcess(),
                                     reinterpret_cast<const void*>(address), to, size, &copied) &&
         copied == size;
}

TARNAPI std::int32_t on_exception(platform::ExceptionPointers* exception) {
  const platform::ExceptionRecord& record = *exception->record;
  platform::AMD_CONTEXT& context = *exception->context;
  if (!state.running || !(record.code & kErrorSeverity) ||
      state.thread != platform::GetCurrentThreadId()) {
    return platform::kContinueSearch;
  }
  state.running = false;
  state.stopped = true;
  state.code = record.code;
  state.instruction = context.Rip;
  state.address = record.parameter_count > 1 ? record.parameters[1] : 0;
  std::uint8_t code[sizeof kTrap];
  state.raised = record.code == platform::kExceptionAccessViolation &&
                 read_safely(context.Rip, code, sizeof code) &&
                 std::memcmp(code, kTrap, sizeof kTrap) == 0;
  if (state.raised) {
    state.number = context.Rax;
    const std::uint64_t texts[] = {context.R8,  context.R9,  context.R10,
                                   context.R11, context.R12, context.R13};
    for (int i = 0; i < 6; ++i) {
      std::size_t length = 0;
      char* const text = state.texts[i];
      while (length + 1 < kTextSize && read_safely(texts[i] + length, text + length, 1) &&
             text[length]) {
        ++length;
      }
      text[length] = '\0';
    }
  }
  context.Rip = reinterpret_cast<std::uint64_t>(&leave_routine);
  context.EFlags &= ~0x0500u;  // no trap flag, direction upward
  return platform::kContinueExecution;
}

#ifdef _WIN32
void* find_export_of_library(const char* name) {
  static const platform::Module library = platform::LoadLibraryA("TARNLIBC64.DLL");
  if (!library) {
    std::fprintf(stderr, "TARNLIBC64.DLL cannot be loaded: %u\n", platform::GetLastError());
    std::exit(1);
  }
  return platform::GetProcAddress(library, name);
}
#else
void* find_export_of_library(const char* name) { return tarn::find_export(name); }
#endif

}  // namespace

void open_library() {
  void* const start = find_export_of_library("__initialise_cpplib");
  reinterpret_cast<void(TARNAPI*)()>(start)();
  // The library puts its own handler first, and this one goes before it.
  if (!platform::AddVectoredExceptionHandler(1, &on_exception)) std::abort();
}

void* find_routine(const std::string& name) {
  void* const routine = find_export_of_library(name.c_str());
  return routine ? routine : find_own_routine(name);
}

Outcome call_safely(Call* call) {
  state.stopped = false;
  state.thread = platform::GetCurrentThreadId();
  state.running = true;
  call_routine(call);
  state.running = false;
  Outcome outcome;
  if (!state.stopped) return outcome;
#ifdef __SANITIZE_ADDRESS__
  __asan_handle_no_return();
#endif
  outcome.kind = state.raised ? Outcome::kRaised : Outcome::kFaulted;
  outcome.number = static_cast<std::int64_t>(state.number);
  for (int i = 0; i < 6 && state.raised; ++i) outcome.texts[i] = state.texts[i];
  outcome.code = state.code;
  outcome.address = state.address;
  outcome.instruction = state.instruction;
  return outcome;
}

std::string read_memory(std::uint64_t address, std::size_t size) {
  std::string bytes(size, '\0');
  if (size == 0 || read_safely(address, bytes.data(), size)) return bytes;
  std::size_t length = 0;
  while (length < size && read_safely(address + length, &bytes[length], 1)) ++length;
  bytes.resize(length);
  return bytes;
}

std::uint8_t* GuardedMemory::take(std::size_t size) {
  constexpr std::size_t kPage = test::GuardedPages::kPage;
  const std::size_t whole = size == 0 ? kPage : (size + kPage - 1) / kPage * kPage;
  Slot* slot = nullptr;
  for (Slot& each : slots_) {
    if (!each.block && each.pages.size() == whole) slot = &each;
  }
  if (!slot) slot = &slots_.emplace_back(Slot{test::GuardedPages(size), nullptr});
  std::uint8_t* const block = at_end_ ? slot->pages.end() - size : slot->pages.data();
  slot->block = block;
  return block;
}

void GuardedMemory::release(const std::uint8_t* block) {
  for (Slot& slot : slots_) {
    if (slot.block == block) slot.block = nullptr;
  }
}

}  // namespace tarn::cases
