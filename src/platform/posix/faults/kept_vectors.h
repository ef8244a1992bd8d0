// The XMM registers that routines of the Microsoft convention keep for their callers:
// the compiler describes where it saves them, but its own unwinder knows nothing of them.
#pragma once

#include "platform/platform.h"

namespace tarn::platform {

// Loads those that the host routine, which begins at `start` and whose entry of unwind
// data is `entry`, has saved by the time it is at `address`, from its frame, which ends
// at `frame_end`. Faults where the stack is damaged.
void restore_kept_vectors(const void* entry, std::uint64_t start, std::uint64_t address,
                          std::uint64_t frame_end, AMD_CONTEXT* context);

}  // namespace tarn::platform
