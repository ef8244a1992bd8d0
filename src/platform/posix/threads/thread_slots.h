// Slots in which each thread keeps a pointer of its own, for images. With
// Windows' meaning: a slot is null in every thread at first.
#pragma once

#include "platform/abi.h"

namespace tarn::platform {

// A new slot, or 0xFFFFFFFF if the system has no more.
TARNAPI std::uint32_t TlsAlloc();
TARNAPI void* TlsGetValue(std::uint32_t slot);
TARNAPI std::int32_t TlsSetValue(std::uint32_t slot, void* value);

}  // namespace tarn::platform
