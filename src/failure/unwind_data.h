// Steps over frames by the unwind data of a PE image, the records of the
// published "x64 exception handling" format: what ordinary compilers leave for
// the code they make, whatever its prologues look like.
#pragma once

#include "platform/platform.h"

namespace tarn {

// Makes `context`, whose Rip lies in the image at `base`, that of the caller:
// Rip, Rsp and the registers that a routine keeps for its caller, the XMM
// registers excepted. Code without a record is a leaf, which has no frame, if
// the image has records at all. An Rip at the pops or the return of an epilogue
// returns the caller to which these lead. The context stays as it was if the image
// has no records, and if its records, or the stack, lead nowhere.
//
// Untrusted data: at most kUnwindChain records and their codes are followed,
// nothing faults.
inline constexpr int kUnwindChain = 32;
enum class UnwindStep { kNoRecords, kLost, kStepped };
UnwindStep unwind_by_image_data(std::uint64_t base, platform::AMD_CONTEXT* context);

}  // namespace tarn
