#include "platform/posix/faults/exceptions.h"

#include <setjmp.h>
#include <stdlib.h>

#include "platform/image_imports.h"
#include "platform/posix/faults/fault_records.h"
#include "platform/posix/loader/loader.h"
#include "platform/unwind_walk.h"

extern "C" {
// Where the handlers that tarn_call_in_flight calls return to, and how far above their
// caller's stack pointer it keeps what it was called with.
extern const char tarn_in_flight_return[];
constexpr std::uint64_t kInFlightCell = 0x28;

// What RaiseException and RtlUnwindEx go on with: the context is their caller's.
TARNAPI void tarn_raise_from(tarn::platform::AMD_CONTEXT* context, std::uint32_t code,
                             std::uint32_t flags, std::uint32_t count,
                             const std::uint64_t* parameters);
TARNAPI void tarn_unwind_from(tarn::platform::AMD_CONTEXT* context, std::uint64_t target_frame,
                              std::uint64_t target_ip, tarn::platform::ExceptionRecord* record,
                              std::uint64_t result);
}

namespace tarn::platform {
namespace {

// Bits of ExceptionRecord::flags.
constexpr std::uint32_t kNonContinuable = 1;
constexpr std::uint32_t kUnwinding = 2;
constexpr std::uint32_t kExitUnwind = 4;
constexpr std::uint32_t kTargetUnwind = 0x20;

constexpr std::uint32_t kStatusUnwind = 0xC0000027;
constexpr std::uint32_t kStatusInvalidUnwindTarget = 0xC0000029;
constexpr std::uint32_t kStatusNonContinuable = 0xC0000025;

enum Disposition : std::int32_t { kContinueExecutionHere = 0, kContinueSearchHere = 1 };

// Frames of images are on the way up, each above the one before. The others are counted.
constexpr int kMostOtherFrames = 1 << 16;

// ---- Reading ------------------------------------------------------------------

// A fault of this returns to the point that guarded() has set.
struct DirectReader {
  [[gnu::no_sanitize_address]] bool operator()(std::uint64_t address, void* to,
                                               std::uint64_t count) const {
    const auto* from = reinterpret_cast<const std::uint8_t*>(address);
    auto* bytes = static_cast<std::uint8_t*>(to);
    for (; count >= 8; count -= 8, bytes += 8, from += 8) move<8>(bytes, from);
    if (count & 4) {
      move<4>(bytes, from);
      bytes += 4;
      from += 4;
    }
    if (count & 2) {
      move<2>(bytes, from);
      bytes += 2;
      from += 2;
    }
    if (count & 1) *bytes = *from;
    return true;
  }

  template <std::size_t kSize>
  [[gnu::no_sanitize_address, gnu::always_inline]] static void move(void* to, const void* from) {
    __builtin_memcpy(to, from, kSize);
  }
};

constexpr DirectReader kReader;

// The result of `act`, or false if it faults.
template <class Act>
bool guarded(const Act& act) {
  sigjmp_buf point;
  if (sigsetjmp(point, 0) != 0) {
    set_recovery_point(nullptr);
    return false;
  }
  set_recovery_point(&point);
  const bool result = act();
  set_recovery_point(nullptr);
  return result;
}

// ---- Frames -------------------------------------------------------------------

// Of a context all that programs have; the rest is unused. In a loop, as the string
// instruction that the compiler takes for a copy of this size takes three times as long.
void copy_context(AMD_CONTEXT* to, const AMD_CONTEXT& from) {
  constexpr std::size_t kEnd = offsetof(AMD_CONTEXT, FxSaveArea) + 160 + 16 * sizeof(Xmm);
  const auto copy = [to, &from](std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; i += sizeof(Xmm)) {
      __builtin_memcpy(reinterpret_cast<char*>(to) + i, reinterpret_cast<const char*>(&from) + i,
                       sizeof(Xmm));
    }
  };
  copy(offsetof(AMD_CONTEXT, ContextFlags), offsetof(AMD_CONTEXT, Dr0));
  copy(offsetof(AMD_CONTEXT, Rax) & ~std::size_t{15}, offsetof(AMD_CONTEXT, FxSaveArea) + 32);
  copy(offsetof(AMD_CONTEXT, FxSaveArea) + 160, kEnd);
}

// Where the record of an address was found lately, in `hints` by a part of the address.
constexpr std::size_t kHints = 256;
std::uint32_t hints[kHints];

// What a hint leads to is looked at as it is, so an old one only takes time.
RecordSearch find_record(const CodeImage& image, std::uint64_t address, FoundRecord* found) {
  std::uint32_t* const hint = &hints[(address ^ address >> 8) % kHints];
  const std::uint64_t records = image.base + image.exceptions.offset;
  const std::uint64_t offset = address - image.base;
  const std::uint32_t index = __atomic_load_n(hint, __ATOMIC_RELAXED);
  if (index < image.exceptions.size / sizeof(FunctionRecord)) {
    found->address = records + sizeof(FunctionRecord) * std::uint64_t{index};
    kReader(found->address, &found->record, sizeof found->record);
    if (offset >= found->record.begin && offset < found->record.end) return RecordSearch::kFound;
  }
  const RecordSearch search =
      find_function_record_by(kReader, image.base, image.exceptions, address, found);
  if (search == RecordSearch::kFound) {
    __atomic_store_n(
        hint, static_cast<std::uint32_t>((found->address - records) / sizeof(FunctionRecord)),
        __ATOMIC_RELAXED);
  }
  return search;
}

// The record that stands for every routine of the library.
FunctionRecord library_record;

enum class FrameKind {
  kImage,
  kOther,     // has no handler
  kInFlight,  // of a handler that runs: the context is the one with which to go on
  kEnd,
};

// What a walk does with the frame of `context`, which becomes that of the caller.
FrameKind step(AMD_CONTEXT* context, DispatcherContext* dispatcher, FrameFacts* facts) {
  CodeImage image;
  dispatcher->control_pc = context->Rip;
  dispatcher->language_handler = nullptr;
  dispatcher->function_entry = nullptr;
  if (context->Rip == reinterpret_cast<std::uint64_t>(tarn_in_flight_return)) {
    // A damaged stack may have the return address and anything else.
    std::uint64_t place = 0;
    InFlight in_flight{};
    DispatcherContext other{};
    if (!guarded([&] {
          kReader(context->Rsp + kInFlightCell, &place, sizeof place);
          kReader(place, &in_flight, sizeof in_flight);
          if (in_flight.dispatcher) {
            kReader(reinterpret_cast<std::uint64_t>(in_flight.dispatcher), &other, sizeof other);
            dispatcher->scope_index = other.scope_index;
            in_flight.origin = other.context;
          }
          const auto origin = reinterpret_cast<std::uint64_t>(in_flight.origin);
          if (origin == 0 || origin % alignof(AMD_CONTEXT) != 0) return false;
          copy_context(context, *in_flight.origin);
          return true;
        })) {
      return FrameKind::kEnd;
    }
    return FrameKind::kInFlight;
  }
  if (!find_code_image(context->Rip, &image)) {
    return step_over_host_frame(context) ? FrameKind::kOther : FrameKind::kEnd;
  }
  const std::uint64_t rsp = context->Rsp;
  dispatcher->image_base = image.base;
  if (!guarded([&] {
        FoundRecord found;
        const RecordSearch search = find_record(image, context->Rip, &found);
        const bool known = search == RecordSearch::kFound;
        if (known) dispatcher->function_entry = reinterpret_cast<FunctionRecord*>(found.address);
        return search != RecordSearch::kUnreadable &&
               unwind_frame_by(kReader, image.base, known ? &found.record : nullptr, context,
                               facts);
      }) ||
      context->Rsp <= rsp || facts->frame < rsp || facts->frame >= context->Rsp) {
    return FrameKind::kEnd;
  }
  dispatcher->establisher_frame = facts->frame;
  if (facts->handler_kinds != 0 && is_code(*image.image, facts->handler)) {
    dispatcher->language_handler = reinterpret_cast<Routine>(image.base + facts->handler);
    dispatcher->handler_data = reinterpret_cast<void*>(facts->handler_data);
  }
  return FrameKind::kImage;
}

std::int32_t call_handler(const DispatcherContext& dispatcher, const InFlight& in_flight,
                          ExceptionRecord* record, AMD_CONTEXT* original) {
  const std::uint64_t arguments[] = {
      reinterpret_cast<std::uint64_t>(record), dispatcher.establisher_frame,
      reinterpret_cast<std::uint64_t>(original), reinterpret_cast<std::uint64_t>(&dispatcher)};
  return tarn_call_in_flight(dispatcher.language_handler, &in_flight, arguments);
}

// ---- The search for a handler -----------------------------------------------------

// True: the exception's context is to go on.
bool ask_frames(ExceptionPointers* exception) {
  AMD_CONTEXT context;
  DispatcherContext dispatcher{};
  FrameFacts facts{};
  copy_context(&context, *exception->context);
  dispatcher.context = &context;
  const InFlight in_flight{exception->context, nullptr};
  for (int others = 0; others < kMostOtherFrames;) {
    const FrameKind kind = step(&context, &dispatcher, &facts);
    if (kind == FrameKind::kEnd) return false;
    if (kind != FrameKind::kImage) ++others;
    if (kind == FrameKind::kImage && (facts.handler_kinds & kExceptionHandler) &&
        dispatcher.language_handler) {
      const std::int32_t answer =
          call_handler(dispatcher, in_flight, exception->record, exception->context);
      if (answer == kContinueExecutionHere) return true;
    }
    if (kind != FrameKind::kInFlight) dispatcher.scope_index = 0;
  }
  return false;
}

VectoredHandler unhandled_filter;

std::int32_t ask_filter(ExceptionPointers* exception) {
  const VectoredHandler filter = __atomic_load_n(&unhandled_filter, __ATOMIC_ACQUIRE);
  if (!filter) return kContinueSearch;
  const std::uint64_t arguments[] = {reinterpret_cast<std::uint64_t>(exception), 0, 0, 0};
  const InFlight in_flight{exception->context, nullptr};
  return tarn_call_in_flight(reinterpret_cast<Routine>(filter), &in_flight, arguments);
}

}  // namespace

bool dispatch_exception(ExceptionPointers* exception) {
  return ask_handlers(exception) == kContinueExecution || ask_frames(exception) ||
         ask_filter(exception) == kContinueExecution;
}

VectoredHandler SetUnhandledExceptionFilter(VectoredHandler filter) {
  return __atomic_exchange_n(&unhandled_filter, filter, __ATOMIC_ACQ_REL);
}

// ---- What programs call -------------------------------------------------------------

FunctionRecord* RtlLookupFunctionEntry(std::uint64_t address, std::uint64_t* base, void*) {
  CodeImage image;
  FoundRecord found;
  if (!find_code_image(address, &image)) {
    *base = 0;
    return is_host_code(address) ? &library_record : nullptr;
  }
  *base = image.base;
  return guarded([&] { return find_record(image, address, &found) == RecordSearch::kFound; })
             ? reinterpret_cast<FunctionRecord*>(found.address)
             : nullptr;
}

Routine RtlVirtualUnwind(std::uint32_t kinds, std::uint64_t base, std::uint64_t address,
                         FunctionRecord* entry, AMD_CONTEXT* context, void** handler_data,
                         std::uint64_t* frame, void*) {
  FrameFacts facts{context->Rsp, 0, 0, 0};
  context->Rip = address;
  const bool stepped = entry == &library_record ? step_over_host_frame(context) : guarded([&] {
    return unwind_frame_by(kReader, base, entry, context, &facts);
  });
  *frame = facts.frame;
  if (!stepped) context->Rip = 0;
  if (!stepped || !(facts.handler_kinds & kinds)) return nullptr;
  *handler_data = reinterpret_cast<void*>(facts.handler_data);
  return reinterpret_cast<Routine>(base + facts.handler);
}

std::int32_t __C_specific_handler(ExceptionRecord* record, std::uint64_t frame,
                                  AMD_CONTEXT* context, DispatcherContext* dispatcher) {
  // The table of a routine's guarded parts, after their count; all are image offsets.
  struct Scope {
    std::uint32_t begin, end;
    std::uint32_t handler;  // a filter, or 1: catch everything; or the block that runs anyway
    std::uint32_t target;   // 0: of the latter kind
  };
  using Filter = std::int32_t(TARNAPI*)(ExceptionPointers*, std::uint64_t frame);
  using Block = void(TARNAPI*)(Bool abnormal, std::uint64_t frame);
  constexpr std::uint32_t kCatchAll = 1;
  const std::uint64_t base = dispatcher->image_base;
  const std::uint64_t at = dispatcher->control_pc - base;
  const auto table = reinterpret_cast<std::uint64_t>(dispatcher->handler_data);
  CodeImage image;
  std::uint32_t count = 0;
  if (!find_code_image(dispatcher->control_pc, &image) ||
      !guarded([&] { return kReader(table, &count, sizeof count); })) {
    return kContinueSearchHere;
  }
  for (std::uint32_t& i = dispatcher->scope_index; i < count;) {
    Scope scope;
    const std::uint64_t place = table + sizeof count + sizeof scope * std::uint64_t{i++};
    if (!guarded([&] { return kReader(place, &scope, sizeof scope); })) break;
    if (at < scope.begin || at >= scope.end) continue;
    const bool catches = scope.target != 0;
    const bool catches_all = catches && scope.handler == kCatchAll;
    if ((!catches_all && !is_code(*image.image, scope.handler)) ||
        (catches && !is_code(*image.image, scope.target))) {
      break;
    }
    if (record->flags & kUnwinding) {
      const std::uint64_t target = dispatcher->target_ip - base;
      if ((record->flags & kTargetUnwind) && target >= scope.begin && target < scope.end) break;
      if (catches) {
        if ((record->flags & kTargetUnwind) && target == scope.target) break;
        continue;
      }
      reinterpret_cast<Block>(base + scope.handler)(1, frame);
    } else if (catches) {
      std::int32_t answer = 1;
      if (!catches_all) {
        ExceptionPointers exception{record, context};
        answer = reinterpret_cast<Filter>(base + scope.handler)(&exception, frame);
      }
      if (answer < 0) return kContinueExecutionHere;
      if (answer > 0) {
        RtlUnwindEx(frame, base + scope.target, record, record->code, context,
                    dispatcher->history_table);
      }
    }
  }
  return kContinueSearchHere;
}

}  // namespace tarn::platform

using namespace tarn::platform;

void tarn_raise_from(AMD_CONTEXT* context, std::uint32_t code, std::uint32_t flags,
                     std::uint32_t count, const std::uint64_t* parameters) {
  constexpr std::uint32_t kMostParameters = 15;
  ExceptionRecord record{};
  record.code = code;
  record.flags = flags & kNonContinuable;
  record.address = reinterpret_cast<void*>(context->Rip);
  if (parameters) {
    record.parameter_count = count < kMostParameters ? count : kMostParameters;
    for (std::uint32_t i = 0; i < record.parameter_count; ++i) record.parameters[i] = parameters[i];
  }
  ExceptionPointers exception{&record, context};
  if (!dispatch_exception(&exception)) ExitProcess(code);
  if (record.flags & kNonContinuable) {
    RaiseException(kStatusNonContinuable, kNonContinuable, 0, nullptr);
  }
}

void tarn_unwind_from(AMD_CONTEXT* context, std::uint64_t target_frame, std::uint64_t target_ip,
                      ExceptionRecord* record, std::uint64_t result) {
  ExceptionRecord own{};
  if (!record) {
    own.code = kStatusUnwind;
    own.address = reinterpret_cast<void*>(context->Rip);
    record = &own;
  }
  record->flags |= kUnwinding | (target_frame == 0 ? kExitUnwind : 0);
  AMD_CONTEXT caller;
  AMD_CONTEXT* current = context;
  AMD_CONTEXT* next = &caller;
  DispatcherContext dispatcher{};
  FrameFacts facts{};
  dispatcher.target_ip = target_ip;
  const InFlight in_flight{nullptr, &dispatcher};
  for (int others = 0; others < kMostOtherFrames;) {
    copy_context(next, *current);
    const FrameKind kind = step(next, &dispatcher, &facts);
    if (kind == FrameKind::kEnd) break;
    if (kind != FrameKind::kImage) ++others;
    const bool at_target =
        kind == FrameKind::kImage && dispatcher.establisher_frame == target_frame;
    if (kind == FrameKind::kImage && (facts.handler_kinds & kTerminationHandler) &&
        dispatcher.language_handler) {
      record->flags |= at_target ? kTargetUnwind : 0;
      dispatcher.context = current;
      current->Rax = result;
      call_handler(dispatcher, in_flight, record, context);
      record->flags &= ~kTargetUnwind;
    }
    if (at_target) {
      current->Rax = result;
      current->Rip = target_ip;
      RtlRestoreContext(current, record);
    }
    if (kind != FrameKind::kInFlight) dispatcher.scope_index = 0;
    AMD_CONTEXT* const left = current;
    current = next;
    next = left;
  }
  if (target_frame != 0) {
    RaiseException(kStatusInvalidUnwindTarget, kNonContinuable, 0, nullptr);
  }
  ExitProcess(record->code);
}
