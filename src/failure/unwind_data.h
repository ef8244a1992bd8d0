// The traceback's steps by the unwind data of an image.
#pragma once

#include "platform/platform.h"

namespace tarn {

// Makes `context`, whose Rip lies in the image at `base`, that of the caller. It stays
// as it was if the image has no unwind data, and if its data, or the stack, lead
// nowhere. Nothing faults.
enum class UnwindStep { kNoRecords, kLost, kStepped };
UnwindStep unwind_by_image_data(std::uint64_t base, platform::AMD_CONTEXT* context);

}  // namespace tarn
