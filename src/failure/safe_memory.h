// Reads of memory that may not be there. They never fault: what cannot be read
// shows as bytes 0xF0. Any thread; no state.
#pragma once

#include "platform/abi.h"

namespace tarn {

// Copies `count` bytes, or fills the destination with 0xF0 if not all of them
// can be read.
TARNAPI void safe_memory_read(std::uint64_t source, void* destination, std::uint32_t count);

// 1 byte (the rest 0), 4 bytes, 8 bytes.
TARNAPI std::uint32_t safe_core1(std::uint64_t address);
TARNAPI std::uint32_t safe_core4(std::uint64_t address);
TARNAPI std::uint64_t safe_core8(std::uint64_t address);

}  // namespace tarn
