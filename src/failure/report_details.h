// What the details of a report tell after the registers and the instruction: what an
// access violation did, the source lines of the frames, the modules with their versions, the
// command line, the library's version.
//
// Nothing here faults or allocates: memory is read by safe_memory_read, and what has no room
// is left out. For one thread at a time.
#pragma once

#include "failure/traceback.h"
#include "platform/platform.h"

namespace tarn {

// At most so much of a command line is shown.
inline constexpr std::uint64_t kShownCommandLine = 4096;

inline constexpr std::uint64_t kLongestSourcePath = 4096;
inline constexpr std::uint32_t kMostInlinedLevels = 32;  // shown of one frame

struct Failure {
  const platform::ExceptionRecord* record;
  bool is_raised_number;
  const ShownFrame* frames;
  int frame_count;
};

// Writes the details to `text`, which has `size` bytes. Of lines longer than `width` only
// the beginning is shown; 0: they are whole.
void describe_details(const Failure& failure, std::uint64_t width, char* text, std::uint64_t size);

}  // namespace tarn
