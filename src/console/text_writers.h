// Plain text on the standard output and error handles: no cells, no colours, no
// buffer. A line end is the bytes 13, 10. Each returns the result of its last write:
// the bytes written, or -1. A length below 0 writes nothing. Any thread; a string
// and its line end are two writes.
#pragma once

#include "platform/abi.h"

namespace tarn {

// With a line end: nothing else, a NUL-terminated text, `length` bytes.
TARNAPI std::int32_t __newline();
TARNAPI std::int32_t __errnewline();
TARNAPI std::int32_t __cou(const char* text);
TARNAPI std::int32_t __cou1(const char* text, std::int32_t length);
TARNAPI std::int32_t __errcou(const char* text);
TARNAPI std::int32_t __errcou1(const char* text, std::int32_t length);

// Without.
TARNAPI std::int32_t __coua(const char* text);
TARNAPI std::int32_t _coua1(const char* text, std::int32_t length);
TARNAPI std::int32_t __errcoua(const char* text);
TARNAPI std::int32_t __errcoua1(const char* text, std::int32_t length);

// Puts the bytes, unchanged, on standard output (1) or error (2).
TARNAPI std::int32_t write(std::int32_t stream, const void* text, std::int32_t length);

}  // namespace tarn
