// Plain text on the standard output and error handles: no cells, no colours, no
// buffer. A line end is the bytes 13, 10. Each returns the result of its last write:
// the bytes written, or -1. A length below 0 writes nothing. Any thread; a string
// and its line end are two writes.
#pragma once

#include "include/tarn/console.h"
#include "platform/abi.h"

namespace tarn {

// Puts the bytes, unchanged, on standard output (1) or error (2).
TARNAPI std::int32_t write(std::int32_t stream, const void* text, std::int32_t length);

}  // namespace tarn
