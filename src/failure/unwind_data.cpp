#include "failure/unwind_data.h"

#include "failure/page_reader.h"
#include "platform/pe_format.h"

namespace tarn {
namespace {

constexpr std::uint32_t kMostRecords = std::uint32_t{1} << 20;
constexpr std::uint8_t kChained = 4;  // flag of an unwind record
constexpr int kMostCodes = 256;

struct FunctionRecord {
  std::uint32_t begin, end, unwind;  // image offsets
};
static_assert(sizeof(FunctionRecord) == 12);

struct UnwindRecord {
  std::uint8_t version_and_flags, prologue_size, code_count, frame_register_and_offset;

  int flags() const { return version_and_flags >> 3; }
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

struct Machine {
  platform::AMD_CONTEXT context;
  PageReader* reader;
  bool has_rip;  // from a machine frame

  // Numbered as the processor does: rax rcx rdx rbx rsp rbp rsi rdi r8 to r15.
  std::uint64_t& general(int number) { return (&context.Rax)[number]; }
  bool load(std::uint64_t address, std::uint64_t* value) {
    return reader->read(address, value, sizeof *value);
  }
};

// Carries out what is left of an epilogue whose frame is gone: the pops and the
// return. False if something else stands at Rip.
bool finish_epilogue(Machine* machine) {
  constexpr int kMostPops = 16;
  constexpr std::uint8_t kPop = 0x58, kReturn = 0xC3, kReturnAndFree = 0xC2, kRepeat = 0xF3;
  const Machine before = *machine;
  std::uint64_t at = machine->context.Rip;
  for (int pops = 0; pops <= kMostPops; ++pops) {
    std::uint8_t code[2] = {};
    if (!machine->reader->read(at, code, sizeof code)) break;
    if (code[0] == kReturn || code[0] == kReturnAndFree ||
        (code[0] == kRepeat && code[1] == kReturn)) {
      return true;
    }
    constexpr std::uint8_t kHighRegister = 0x41;  // REX.B
    const int high = code[0] == kHighRegister ? 1 : 0;
    if ((code[high] & 0xF8) != kPop) break;
    const int number = (code[high] & 7) + 8 * high;
    if (!machine->load(machine->context.Rsp, &machine->general(number))) break;
    machine->context.Rsp += 8;
    at += 1u + static_cast<unsigned>(high);
  }
  *machine = before;
  return false;
}

bool find_directory(PageReader* reader, std::uint64_t base, pe::DataDirectory* directory) {
  pe::DosHeader dos;
  pe::NtHeaders headers;
  if (!reader->read(base, &dos, sizeof dos) ||
      !reader->read(base + dos.pe_offset, &headers, sizeof headers)) {
    return false;
  }
  *directory = headers.optional.directories[pe::kExceptionDirectory];
  return headers.magic == pe::kPeMagic && headers.optional.magic == pe::kOptionalMagic64 &&
         headers.optional.directory_count > pe::kExceptionDirectory && directory->size != 0;
}

// Records are sorted by `begin`. A `begin` of 0 in the result: there is none.
bool find_record(PageReader* reader, std::uint64_t base, const pe::DataDirectory& directory,
                 std::uint64_t offset, FunctionRecord* record) {
  std::uint32_t low = 0;
  std::uint32_t high = directory.size / sizeof(FunctionRecord);
  if (high > kMostRecords) return false;
  while (low < high) {
    const std::uint32_t middle = low + (high - low) / 2;
    if (!reader->read(base + directory.offset + sizeof(FunctionRecord) * std::uint64_t{middle},
                      record, sizeof *record)) {
      return false;
    }
    if (offset < record->begin) {
      high = middle;
    } else if (offset >= record->end) {
      low = middle + 1;
    } else {
      return true;
    }
  }
  *record = {};
  return true;
}

// Codes that an operation takes, itself included.
int code_span(std::uint8_t operation, int info) {
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

bool undo(Machine* machine, const UnwindRecord& record, const std::uint16_t* code,
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
    case kEpilogue:
    case kSaveXmm:
    case kSaveXmmFar:
      return true;
    default:
      return false;
  }
}

// Undoes the part of the prologue that has been carried out `offset` bytes into
// the routine, and goes on with the record that this one continues.
bool undo_prologue(Machine* machine, std::uint64_t base, std::uint64_t at, std::uint64_t offset) {
  for (int chain = 0; chain < kUnwindChain; ++chain) {
    UnwindRecord record;
    std::uint16_t codes[kMostCodes + 2] = {};
    if (!machine->reader->read(base + at, &record, sizeof record)) return false;
    const int count = record.code_count;
    if (!machine->reader->read(base + at + sizeof record, codes,
                               sizeof codes[0] * static_cast<std::uint64_t>(count))) {
      return false;
    }
    const std::uint64_t frame =
        record.frame_register() != 0
            ? machine->general(record.frame_register()) - record.frame_offset()
            : machine->context.Rsp;
    for (int i = 0; i < count; i += code_span(codes[i] >> 8 & 15, codes[i] >> 12)) {
      const auto place = static_cast<std::uint8_t>(codes[i]);
      if (place <= offset && !undo(machine, record, codes + i, frame)) return false;
    }
    if (!(record.flags() & kChained)) return true;
    const std::uint64_t codes_size = 2 * ((static_cast<std::uint64_t>(count) + 1) & ~1ull);
    FunctionRecord next;
    if (!machine->reader->read(base + at + sizeof record + codes_size, &next, sizeof next)) {
      return false;
    }
    at = next.unwind;
    offset = ~std::uint64_t{0};  // all of it lies before
  }
  return false;
}

}  // namespace

UnwindStep unwind_by_image_data(std::uint64_t base, platform::AMD_CONTEXT* context) {
  static PageReader reader;  // the report has one thread
  static Machine machine;
  reader.reset();
  pe::DataDirectory directory;
  FunctionRecord record;
  const std::uint64_t offset = context->Rip - base;
  if (!find_directory(&reader, base, &directory)) return UnwindStep::kNoRecords;
  if (!find_record(&reader, base, directory, offset, &record)) return UnwindStep::kLost;
  machine = {*context, &reader, false};
  if (record.begin != 0 && !finish_epilogue(&machine) &&
      !undo_prologue(&machine, base, record.unwind, offset - record.begin)) {
    return UnwindStep::kLost;
  }
  if (!machine.has_rip) {
    if (!machine.load(machine.context.Rsp, &machine.context.Rip)) return UnwindStep::kLost;
    machine.context.Rsp += 8;
  }
  const bool moved = machine.context.Rip != context->Rip || machine.context.Rsp != context->Rsp;
  if (!moved) return UnwindStep::kLost;
  *context = machine.context;
  return UnwindStep::kStepped;
}

}  // namespace tarn
