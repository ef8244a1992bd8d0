// The routines of unwind_records.h for readers of any type: with one whose routine the
// compiler sees, a frame takes a third of the time.
#pragma once

#include "platform/unwind_records.h"

namespace tarn::platform {
namespace unwinding {

inline constexpr std::uint32_t kMostRecords = std::uint32_t{1} << 20;
inline constexpr std::uint8_t kChained = 4;  // flag of an unwind record
inline constexpr int kMostCodes = 256;

struct UnwindRecord {
  std::uint8_t version_and_flags, prologue_size, code_count, frame_register_and_offset;

  std::uint32_t flags() const { return version_and_flags >> 3; }
  int frame_register() const { return frame_register_and_offset & 15; }
  std::uint64_t frame_offset() const { return 16u * (frame_register_and_offset >> 4u); }
};

enum Operation : std::uint8_t {
  kPush = 0,
  kAllocateLarge = 1,
  kAllocateSmall = 2,
  kSetFrameRegister = 3,
  kSave = 4,
  kSaveFar = 5,
  kEpilogue = 6,
  kSaveXmm = 8,
  kSaveXmmFar = 9,
  kMachineFrame = 10,
};

template <class Reader>
struct Machine {
  const Reader& reader;
  AMD_CONTEXT& context;
  bool has_rip;  // from a machine frame

  // Numbered as the processor does: rax rcx rdx rbx rsp rbp rsi rdi r8 to r15.
  std::uint64_t& general(int number) { return (&context.Rax)[number]; }
  bool load(std::uint64_t address, std::uint64_t* value) {
    return reader(address, value, sizeof *value);
  }
  bool load_xmm(std::uint64_t address, int number) {
    constexpr std::size_t kFxSaveXmm = 160;
    return reader(address, context.FxSaveArea + kFxSaveXmm + sizeof(Xmm) * std::size_t(number),
                  sizeof(Xmm));
  }
};

// One instruction of an epilogue whose frame is gone.
struct EpilogueStep {
  bool returns;
  int popped;  // a general register
  unsigned length;
};

template <class Reader>
bool read_epilogue_step(const Reader& reader, std::uint64_t at, EpilogueStep* step) {
  constexpr std::uint8_t kPop = 0x58, kReturn = 0xC3, kReturnAndFree = 0xC2, kRepeat = 0xF3;
  constexpr std::uint8_t kHighRegister = 0x41;  // REX.B
  std::uint8_t code[2] = {};
  if (!reader(at, code, sizeof code)) return false;
  if (code[0] == kReturn || code[0] == kReturnAndFree ||
      (code[0] == kRepeat && code[1] == kReturn)) {
    *step = {true, 0, 0};
    return true;
  }
  const int high = code[0] == kHighRegister ? 1 : 0;
  *step = {false, (code[high] & 7) + 8 * high, 1u + static_cast<unsigned>(high)};
  return (code[high] & 0xF8) == kPop;
}

// Carries out what is left of an epilogue whose frame is gone: the pops and the
// return. False if something else stands at Rip; the context is then as it was.
template <class Reader>
bool finish_epilogue(Machine<Reader>* machine) {
  constexpr int kMostPops = 16;
  EpilogueStep steps[kMostPops + 1];
  std::uint64_t at = machine->context.Rip;
  int count = 0;
  for (;; ++count) {
    if (count > kMostPops || !read_epilogue_step(machine->reader, at, &steps[count])) return false;
    if (steps[count].returns) break;
    at += steps[count].length;
  }
  std::uint64_t values[kMostPops];
  if (count > 0 && !machine->reader(machine->context.Rsp, values,
                                    sizeof values[0] * static_cast<std::uint64_t>(count))) {
    return false;
  }
  for (int i = 0; i < count; ++i) machine->general(steps[i].popped) = values[i];
  machine->context.Rsp += 8 * static_cast<std::uint64_t>(count);
  return true;
}

// Codes that an operation takes, itself included.
inline int code_span(std::uint8_t operation, int info) {
  switch (operation) {
    case kAllocateLarge:
      return info == 0 ? 2 : 3;
    case kSave:
    case kSaveXmm:
      return 2;
    case kSaveFar:
    case kSaveXmmFar:
      return 3;
    default:
      return 1;
  }
}

template <class Reader>
bool undo(Machine<Reader>* machine, const UnwindRecord& record, const std::uint16_t* code,
          std::uint64_t frame) {
  const int info = code[0] >> 12;
  const auto operation = static_cast<std::uint8_t>(code[0] >> 8 & 15);
  std::uint64_t& rsp = machine->context.Rsp;
  const std::uint64_t wide = code[1] | std::uint64_t{code[2]} << 16;
  switch (operation) {
    case kPush: {
      std::uint64_t value;
      if (!machine->load(rsp, &value)) return false;
      machine->general(info) = value;
      rsp += 8;
      return true;
    }
    case kAllocateLarge:
      rsp += info == 0 ? 8 * std::uint64_t{code[1]} : wide;
      return true;
    case kAllocateSmall:
      rsp += 8 * static_cast<std::uint64_t>(info) + 8;
      return true;
    case kSetFrameRegister:
      rsp = machine->general(record.frame_register()) - record.frame_offset();
      return true;
    case kSave:
      return machine->load(frame + 8 * std::uint64_t{code[1]}, &machine->general(info));
    case kSaveFar:
      return machine->load(frame + wide, &machine->general(info));
    case kMachineFrame: {
      const std::uint64_t at = rsp + (info != 0 ? 8 : 0);  // past an error code
      machine->has_rip = true;
      return machine->load(at, &machine->context.Rip) && machine->load(at + 24, &rsp);
    }
    case kSaveXmm:
      return machine->load_xmm(frame + 16 * std::uint64_t{code[1]}, info);
    case kSaveXmmFar:
      return machine->load_xmm(frame + wide, info);
    case kEpilogue:
      return true;
    default:
      return false;
  }
}

// Undoes the part of the prologue that has been carried out `offset` bytes into
// the routine, and goes on with the record that this one continues.
template <class Reader>
bool undo_prologue(Machine<Reader>* machine, std::uint64_t base, std::uint64_t at,
                   std::uint64_t offset, FrameFacts* facts) {
  const Reader& reader = machine->reader;
  bool in_prologue = false;
  for (int chain = 0; chain < kUnwindChain; ++chain) {
    UnwindRecord record;
    std::uint16_t codes[kMostCodes + 2];
    if (!reader(base + at, &record, sizeof record)) return false;
    const int count = record.code_count;
    if (count > 0 && !reader(base + at + sizeof record, codes,
                             sizeof codes[0] * static_cast<std::uint64_t>(count))) {
      return false;
    }
    codes[count] = codes[count + 1] = 0;  // the last operation may say that it is longer
    const std::uint64_t frame =
        record.frame_register() != 0
            ? machine->general(record.frame_register()) - record.frame_offset()
            : machine->context.Rsp;
    if (chain == 0) {
      facts->frame = frame;
      in_prologue = offset < record.prologue_size;
    }
    for (int i = 0; i < count; i += code_span(codes[i] >> 8 & 15, codes[i] >> 12)) {
      const auto place = static_cast<std::uint8_t>(codes[i]);
      if (place <= offset && !undo(machine, record, codes + i, frame)) return false;
    }
    const std::uint64_t after_codes =
        at + sizeof record + 2 * ((static_cast<std::uint64_t>(count) + 1) & ~1ull);
    if (!(record.flags() & kChained)) {
      if (in_prologue || !(record.flags() & (kExceptionHandler | kTerminationHandler))) return true;
      facts->handler_kinds = record.flags();
      facts->handler_data = base + after_codes + sizeof facts->handler;
      return reader(base + after_codes, &facts->handler, sizeof facts->handler);
    }
    FunctionRecord next;
    if (!reader(base + after_codes, &next, sizeof next)) return false;
    at = next.unwind;
    offset = ~std::uint64_t{0};  // all of it lies before
  }
  return false;
}

}  // namespace unwinding

// Records are sorted by `begin`.
template <class Reader>
RecordSearch find_function_record_by(const Reader& reader, std::uint64_t base,
                                     const pe::DataDirectory& directory, std::uint64_t address,
                                     FoundRecord* found) {
  const std::uint64_t offset = address - base;
  std::uint32_t low = 0;
  std::uint32_t high = directory.size / sizeof(FunctionRecord);
  if (high > unwinding::kMostRecords) return RecordSearch::kUnreadable;
  while (low < high) {
    const std::uint32_t middle = low + (high - low) / 2;
    FunctionRecord* const record = &found->record;
    found->address = base + directory.offset + sizeof(FunctionRecord) * std::uint64_t{middle};
    if (!reader(found->address, record, sizeof *record)) return RecordSearch::kUnreadable;
    if (offset < record->begin) {
      high = middle;
    } else if (offset >= record->end) {
      low = middle + 1;
    } else {
      return RecordSearch::kFound;
    }
  }
  return RecordSearch::kLeaf;
}

template <class Reader>
bool unwind_frame_by(const Reader& reader, std::uint64_t base, const FunctionRecord* record,
                     AMD_CONTEXT* context, FrameFacts* facts) {
  unwinding::Machine<Reader> machine{reader, *context, false};
  const std::uint64_t rip = context->Rip;
  const std::uint64_t rsp = context->Rsp;
  *facts = {rsp, 0, 0, 0};
  if (record && !unwinding::finish_epilogue(&machine) &&
      !unwinding::undo_prologue(&machine, base, record->unwind, rip - base - record->begin,
                                facts)) {
    return false;
  }
  if (machine.has_rip) {
    context->ContextFlags &= ~kContextAtCall;
  } else {
    if (!machine.load(context->Rsp, &context->Rip)) return false;
    context->Rsp += 8;
  }
  return context->Rip != rip || context->Rsp != rsp;
}

}  // namespace tarn::platform
