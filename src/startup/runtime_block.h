// The start-up room's front door: the cells that all images of a process
// share, and the routines that the start-up script calls.
//
// __runtime_block lies once in the library; each image reaches its twelve
// cells through its own __runtime_slots. The library owns both its block and
// the common block list for the life of the process; nothing is locked.
#pragma once

#include "platform/abi.h"

namespace tarn {

inline constexpr int kRuntimeCells = 12;

// Which cell is which.
enum RuntimeCell : int {
  kCellErrno = 0,  // 32 bits in the low half
  kCellStdin = 1,
  kCellStdout = 2,
  kCellStderr = 3,
  kCellInputHandle = 7,
  kCellOutputHandle = 8,
  kCellErrorHandle = 9,
  kCellClassTable = 10,
  kCellPseudoStack = 11,
};

extern "C" {
extern Slot __runtime_block[kRuntimeCells];
extern Slot* __runtime_slots[kRuntimeCells];  // this image's
}

inline Slot& runtime_cell(RuntimeCell cell) { return *__runtime_slots[cell]; }

// errno: one cell for the process. Besides C's use it holds -1001 (range or
// argument), -1002 (domain), 307 (a write failed) or a raw system code.
inline std::int32_t get_errno() { return static_cast<std::int32_t>(runtime_cell(kCellErrno)); }
inline void set_errno(std::int32_t value) {
  runtime_cell(kCellErrno) = static_cast<std::uint32_t>(value);
}

// One registered common block. Never freed.
struct BlockRecord {
  BlockRecord* next;
  const char* name;
  void* address;
  std::uint64_t size;
  const char* module;  // base file name of the image that registered it
};

// The common block list, newest first.
extern BlockRecord* common_block_list;
extern std::int32_t common_block_count;
// The profile block that opcode 15 recorded, or null.
extern void* profile_block;

extern "C" {
// An image's entry point: walks its start-up script. Takes nothing; returns
// non-zero, and only in an image whose script names no main.
TARNAPI std::int32_t __BrackenStartup();

// Initialises the library once per process and builds argv. Assembly:
// rax = &__runtime_block, rcx = argc, rdx = argv.
TARNAPI void __main_setup();

// Adds `bytes` to the total of program storage, from which the secondary
// stack's size is worked out.
TARNAPI void __record_program_storage(std::int64_t bytes);

// Names the record's module and links it in at the head of the list. `name`,
// `address` and `size` are filled by the caller.
TARNAPI void append_common_spec(BlockRecord* record);

TARNAPI void __record_profile_address(void* address);

// Binds `slot` to a routine of a library. `texts`: the library's name and the
// routine's name, each NUL-terminated. A routine that cannot be bound gives
// the slot rlo_error, which fails only when called. Result: the address behind
// the second text.
TARNAPI const char* __attempt_rlo_load(Routine* slot, const char* texts);

// Compares the processor's AVX support with 1 and leaves the outcome in the
// flags: equal if supported. Valid after __init_pseudo_stack.
TARNAPI void __test_avx();

// Stack probe. In rax the size of the frame that the caller is about to take;
// reads the stack in steps of 4,000 bytes, so that a growing stack meets its
// guard page in order. Changes no register but the flags.
TARNAPI void __stack_adjust();
}

// Address of a routine in a library, loading the library if need be; null if
// either cannot be found.
TARNAPI Routine ProcessDynt(const char* routine, const char* library);

// Raises error 345, "Attempt to call a function in an rlo library failed".
TARNAPI void rlo_error();

// Total of __record_program_storage so far, in bytes.
std::int64_t program_storage();

}  // namespace tarn
