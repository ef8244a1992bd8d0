// Helpers for Fortran CHARACTER data; the contract is include/tarn/character.h.
#pragma once

#include "include/tarn/character.h"
#include "platform/abi.h"

namespace tarn {

// MAKE_CSTRING under a second name.
TARNAPI void MAKE_CSTRING$(const char* source, char* destination, const std::int32_t* length);

}  // namespace tarn
