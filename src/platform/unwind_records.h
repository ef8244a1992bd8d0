// The unwind data of a PE image, the records of the published "x64 exception
// handling" format: what ordinary compilers leave for the code they make, whatever
// its prologues look like. The traceback walks by it on both targets, and on the host
// exceptions find their handlers by it.
//
// Untrusted data: at most kUnwindChain records and their codes are followed, and memory
// is read through the caller's MemoryReader alone.
#pragma once

#include "platform/pe_format.h"
#include "platform/platform.h"

namespace tarn::platform {

inline constexpr int kUnwindChain = 32;

// Copies `count` bytes at `address`; false if not all of them are there.
struct MemoryReader {
  bool (*read)(void* state, std::uint64_t address, void* to, std::uint64_t count);
  void* state;

  bool operator()(std::uint64_t address, void* to, std::uint64_t count) const {
    return read(state, address, to, count);
  }
};

struct FunctionRecord {
  std::uint32_t begin, end, unwind;  // image offsets
};
static_assert(sizeof(FunctionRecord) == 12);

struct FoundRecord {
  FunctionRecord record;
  std::uint64_t address;  // where it lies
};

// kLeaf: the image has records, but none for that code, which has no frame.
enum class RecordSearch { kUnreadable, kLeaf, kFound };
RecordSearch find_function_record(const MemoryReader& reader, std::uint64_t base,
                                  const pe::DataDirectory& directory, std::uint64_t address,
                                  FoundRecord* found);

// The directory of an image's records as its headers in memory say; false if it has none.
bool find_unwind_directory(const MemoryReader& reader, std::uint64_t base,
                           pe::DataDirectory* directory);

// The bits of FrameFacts::handler_kinds.
inline constexpr std::uint32_t kExceptionHandler = 1;
inline constexpr std::uint32_t kTerminationHandler = 2;

// What a frame's record says besides.
struct FrameFacts {
  std::uint64_t frame;          // the address by which handlers know the frame
  std::uint32_t handler_kinds;  // 0 in a prologue and an epilogue
  std::uint32_t handler;        // image offset
  std::uint64_t handler_data;   // address
};

// Makes `context`, whose Rip lies in the image at `base`, that of the caller: Rip, Rsp
// and the registers that a routine keeps for its caller. `record` is null for a leaf. An
// Rip at the pops or the return of an epilogue returns the caller to which these lead.
// False if the records or the stack lead nowhere: the context is then of no use.
bool unwind_frame(const MemoryReader& reader, std::uint64_t base, const FunctionRecord* record,
                  AMD_CONTEXT* context, FrameFacts* facts);

}  // namespace tarn::platform
