// Overview of the process module, which is below all others: what a process
// has once, how it ends (process/process_end.h), and how anything in it raises
// a run-time error (process/raising.h).
//
// The state: the cells that all images of a process share, and what start-up
// finds out and every module may read. __runtime_block exists once, in the library;
// each image reaches its twelve cells through its own __runtime_slots. All of it
// lives as long as the process; nothing is locked.
#pragma once

#include "include/errno.h"
#include "include/tarn/introspection.h"
#include "platform/abi.h"

namespace tarn {

// ---- The shared cells -----------------------------------------------------

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
// argument), -1002 (domain), 307 (a write failed) or a raw system code. Both are
// "used", so that the forms for programs exist too.
[[gnu::used]] TARNAPI inline std::int32_t get_errno() {
  return static_cast<std::int32_t>(runtime_cell(kCellErrno));
}
[[gnu::used]] TARNAPI inline void set_errno(std::int32_t value) {
  runtime_cell(kCellErrno) = static_cast<std::uint32_t>(value);
}

// ---- What start-up finds out ----------------------------------------------
// Written on the first thread, before main.

// Size of a page in bytes; until the system has been asked, the processor's smallest.
extern std::uint32_t page_size;

// The switches of the environment variable TARNENVAR, 0 or 1. Its words are
// separated by spaces, ';' or ',' and matched whole, in any case; others are
// ignored. Only the exception handler reads them.
extern std::int32_t kill_dialogbox;  // report as text, exit 1, no dialog
extern std::int32_t no_traceback;    // report without a traceback

// ---- What the images' start-up scripts record -------------------------------

// The common block list, newest first. No record is freed.
extern tarn_block_record* common_block_list;
extern std::int32_t common_block_count;
// The profile block that opcode 15 recorded, or null.
extern void* profile_block;
// Total of program storage in bytes, from which the secondary stack's size is
// worked out.
extern std::int64_t program_storage;

}  // namespace tarn
