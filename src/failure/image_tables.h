// Which image an address lies in, and which routine and line, from the routine
// table and the line tables that finish_image writes into an image
// (docs/image-format.md).
//
// Untrusted data: nothing here faults, at most kTableBytes of a table and of each of
// lines and inlined code kLineEntries are read, and a damaged table yields no routine or
// no line. State: a reader's buffer; for one thread at a time, inside the report.
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

enum class RoutineOwner : std::uint8_t {
  kProgram = 0,
  kRunTime = 1,  // of the image's run-time, and one that the program calls
  kInsideRunTime = 2,
};

struct RoutinePlace {
  char name[kLongestRoutineName + 1];
  std::uint64_t start;   // address of its first byte
  std::uint32_t offset;  // of the address in it
  std::uint32_t line;    // 0: unknown
  std::uint64_t file;    // address of the path of the line's source file; 0: unknown
  bool is_inlined;       // the name and the line are those of a routine that was inlined
  bool levels_are_frames;
  RoutineOwner owner;
};

// The base of the image that holds `address`; 0 if none does.
std::uint64_t image_at(std::uint64_t address);

// Writes the base file name of the image at `base`, cut to kImageNameSize. False, and
// nothing is written, where the system has no name for it.
bool image_name(std::uint64_t base, char* name);

// Whether finish_image has marked the image.
bool is_marked_image(std::uint64_t base);

// What the place of a frame is besides its address.
struct FramePlace {
  bool at_call = false;     // the address is that after a call
  std::uint32_t level = 0;  // of inlined calls, the innermost is 0
  // The line is that of the code or of the call, and the inlined calls are levels, also where
  // the image's tables have the traceback show the lines of the routine's own file alone.
  bool is_in_detail = false;
};

// The routine of the marked image at `base` in which `address` lies. At a call the line is
// the call's, if the image's tables want it so. Where the code was inlined the levels from
// 0 on are the routines that it came from, and the one after these the routine itself.
bool find_routine(std::uint64_t base, std::uint64_t address, FramePlace place,
                  RoutinePlace* routine);

// Writes the path of RoutinePlace::file, with `size` bytes of room. False, and nothing is
// written, if it cannot be read.
bool read_file_path(std::uint64_t file, char* path, std::uint64_t size);

}  // namespace tarn
