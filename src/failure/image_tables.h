// Which image an address lies in, and which routine and line, from the routine
// table and the line tables that finish_image writes into an image
// (docs/image-format.md).
//
// Untrusted data: nothing here faults, at most kTableBytes of a table and
// kLineEntries lines are read, and a damaged table yields no routine or no
// line. State: a reader's buffer; for one thread at a time, inside the report.
#pragma once

#include "platform/abi.h"

namespace tarn {

inline constexpr std::uint64_t kTableBytes = std::uint64_t{64} << 20;
inline constexpr std::uint32_t kLineEntries = 4'000'000;
inline constexpr std::uint32_t kLongestRoutineName = 1000;  // longer ones are cut
inline constexpr std::uint64_t kImageNameSize = 260;

// The start-up interpreter's name, in any case: no program's frame comes after
// it.
inline constexpr char kStartRoutine[] = "__brackenstartup";

struct RoutinePlace {
  char name[kLongestRoutineName + 1];
  std::uint64_t start;   // address of its first byte
  std::uint32_t offset;  // of the address in it
  std::uint32_t line;    // 0: unknown
};

// The base of the image that holds `address`; 0 if none does.
std::uint64_t image_at(std::uint64_t address);

// Writes the base file name of the image at `base`, cut to kImageNameSize. False, and
// nothing is written, where the system has no name for it.
bool image_name(std::uint64_t base, char* name);

// Whether finish_image has marked the image.
bool is_marked_image(std::uint64_t base);

// The routine of the marked image at `base` in which `address` lies. `at_call`: it is the
// address after a call; the line is then the call's, if the image's tables want it so.
bool find_routine(std::uint64_t base, std::uint64_t address, bool at_call, RoutinePlace* routine);

}  // namespace tarn
