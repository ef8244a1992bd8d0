// One key, and lines, from the console's input handle. Lines come from blocks of
// 4,096 bytes as the system delivers them; on a terminal that is a line, edited
// by the system's own keys.
#pragma once

#include "platform/abi.h"

namespace tarn {

// Waits for a key and stores its character as a signed byte: 0 for a key without
// one. Keys that only change others (Shift, Control, the lock keys) do not count.
// Without an input handle *key becomes -1 at once; if the read fails it is
// unchanged.
TARNAPI void get_key(std::int32_t* key);

// Flushes the console and reads a line into `buffer`, without line end or NUL;
// *count becomes its length. What does not fit in `size` bytes is returned by the
// next calls. A line ends at 13 or 10, and one more of either after it is
// discarded. At the end of input *count is -1: after a Ctrl-Z (26), permanently, or
// after a read of no bytes, when the next call reads again; "^Z\n" is then shown. A
// last line without a line end is lost, unless a Ctrl-Z follows. A failed read ends
// the input permanently. Result: 1 if a read failed while the line
// was read, else 0; 0 at the end of input.
TARNAPI std::int32_t ConsoleRead(char* buffer, std::int32_t size, std::int32_t* count);

}  // namespace tarn
