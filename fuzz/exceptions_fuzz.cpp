// Exceptions on their way through the frames of a damaged image: the search for a handler,
// __C_specific_handler and the unwinding. The input is a short list of answers of handlers, a
// stack, and a section that holds the unwind data. All code of the image is breakpoints, at
// which this file answers in the handlers' place.

#include <sys/mman.h>
#include <unistd.h>

#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "fuzz/fuzz.h"
#include "platform/image_imports.h"
#include "platform/posix/faults/exceptions.h"
#include "tests/support/finished_image.h"

extern "C" {
extern const char tarn_in_flight_return[];
void __asan_unpoison_memory_region(const volatile void* begin, std::size_t size)
    __attribute__((weak));
}

namespace {

using namespace tarn::platform;
using tarn::test::FinishedImage;

constexpr std::uint32_t kRecords = FinishedImage::kData + 0x20, kMostFunctions = 16;
constexpr std::size_t kSectionSize = 0x1000, kAnswers = 16, kWords = 128, kRegisters = 16;
// Operations of unwind data may move the stack pointer up by 4 GB.
constexpr std::size_t kStackSize = 0x4000, kReserved = std::size_t{5} << 30;
constexpr int kMostCalls = 500;
constexpr std::uint32_t kBreakpoint = 0x80000003, kInvalidTarget = 0xC0000029;
constexpr std::uint32_t kAccessViolation = 0xC0000005, kThrown = 0x20474343;

std::uint8_t* image;
std::uint64_t* stack;
sigjmp_buf out;
std::uint8_t answers[kAnswers];
int calls;

template <class Pointer>
std::uint64_t address(Pointer* pointer) {
  return reinterpret_cast<std::uint64_t>(pointer);
}

bool holds(const void* begin, std::size_t size, std::uint64_t at) {
  return at - address(begin) < size;
}

// What the routine at the breakpoint does. The first one of the section is __C_specific_handler;
// what was gone on with, as a handler has caught it, is the end.
void act(AMD_CONTEXT* context) {
  if (++calls > kMostCalls || holds(stack, kReserved, context->Rsp)) siglongjmp(out, 1);
  constexpr std::uint8_t kUnwinds = 4;
  const std::uint8_t answer = answers[static_cast<std::size_t>(calls) % kAnswers];
  if (context->Rip == address(image) + FinishedImage::kText) {
    context->Rip = address(&__C_specific_handler);
  } else if (answer == kUnwinds) {
    context->R8 = context->Rcx;
    context->Rcx = context->Rdx;
    context->Rdx = address(image) + FinishedImage::kText + 8;
    context->Rip = address(&RtlUnwindEx);
  } else {
    context->Rax = std::uint64_t{answer} - 1;
    std::memcpy(&context->Rip, reinterpret_cast<void*>(context->Rsp), sizeof context->Rip);
    context->Rsp += sizeof context->Rip;
  }
}

TARNAPI std::int32_t on_exception(ExceptionPointers* exception) {
  constexpr std::uint64_t kRestoreSize = 0x200;
  AMD_CONTEXT* const context = exception->context;
  const std::uint32_t code = exception->record->code;
  if (code == kBreakpoint && holds(image, FinishedImage::kData, context->Rip)) {
    act(context);
    return kContinueExecution;
  }
  // A target that is not on the stack, and a frame whose stack pointer cannot be used.
  if (code == kInvalidTarget ||
      (code == kAccessViolation &&
       holds(reinterpret_cast<void*>(&RtlRestoreContext), kRestoreSize, context->Rip))) {
    siglongjmp(out, 1);
  }
  return kContinueSearch;
}

void load_image() {
  FinishedImage made(true);
  made.text.resize(FinishedImage::kPage, 0xCC);
  made.data.resize(kSectionSize);
  made.headers.optional.directories[tarn::pe::kExceptionDirectory] = {
      kRecords, kMostFunctions * sizeof(FunctionRecord)};
  const FinishedImage::Bytes bytes = made.file();
  char name[] = "/tmp/exceptions_fuzz_XXXXXX", path[64];
  const int file = mkstemp(name);
  fuzz::require(file >= 0 && write(file, bytes.data(), bytes.size()) >= 0 && close(file) == 0);
  std::snprintf(path, sizeof path, "Z:%s.", name);
  image = static_cast<std::uint8_t*>(static_cast<void*>(LoadLibraryA(path)));
  unlink(name);
  fuzz::require(image != nullptr);
  std::uint32_t before;
  VirtualProtect(image + FinishedImage::kText, FinishedImage::kPage, kPageExecuteReadWrite,
                 &before);
  std::memset(image + FinishedImage::kText, 0xCC, FinishedImage::kPage);
  void* const memory =
      mmap(nullptr, kReserved, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  fuzz::require(memory != MAP_FAILED && mprotect(memory, kStackSize, PROT_READ | PROT_WRITE) == 0);
  stack = static_cast<std::uint64_t*>(memory);
  AddVectoredExceptionHandler(1, &on_exception);
}

// The sanitizer's marks of frames that the jump out has left, here and on the signals' stack.
void forget_left_frames() {
  constexpr std::size_t kDepth = 256 * 1024;
  if (!__asan_unpoison_memory_region) return;
  stack_t signals;
  sigaltstack(nullptr, &signals);
  __asan_unpoison_memory_region(signals.ss_sp, signals.ss_size);
  auto* const here = static_cast<std::uint8_t*>(__builtin_frame_address(0));
  __asan_unpoison_memory_region(here - kDepth, kDepth);
}

// The first byte chooses what a word is, the second one where it points or its value.
std::uint64_t word(std::uint8_t kind, std::uint8_t value) {
  switch (kind % 8) {
    case 0:
      return address(image) + FinishedImage::kText + value;
    case 1:
      return address(image) + FinishedImage::kData + std::size_t{16} * value;
    case 2:
    case 3:
      return address(stack) + std::size_t{32} * value + (kind & 8);
    case 4:
      return address(tarn_in_flight_return);
    case 5:
      return address(&dispatch_exception) + value;
    default:
      return value;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kHead = kAnswers + 2 * (kRegisters + kWords);
  if (!image) load_image();
  std::uint8_t head[kHead] = {};
  std::memcpy(head, data, std::min(size, kHead));
  std::memset(image + FinishedImage::kData, 0, kSectionSize);
  if (size > kHead) {
    std::memcpy(image + FinishedImage::kData, data + kHead, std::min(size - kHead, kSectionSize));
  }
  std::memcpy(answers, head, kAnswers);
  const std::uint8_t* at = head + kAnswers;
  static AMD_CONTEXT context;
  context = {};
  for (std::size_t i = 0; i < kRegisters; ++i, at += 2) (&context.Rax)[i] = word(at[0], at[1]);
  context.Rip = address(image) + FinishedImage::kText + head[0];
  context.Rsp = address(stack) + 0x1000;
  for (std::size_t i = 0; i < kWords; ++i, at += 2) stack[0x1000 / 8 + i] = word(at[0], at[1]);
  static ExceptionRecord record;
  record = {};
  record.code = kThrown;
  ExceptionPointers exception{&record, &context};
  calls = 0;
  if (sigsetjmp(out, 1) == 0) {
    dispatch_exception(&exception);
  } else {
    forget_left_frames();
  }
  return 0;
}
