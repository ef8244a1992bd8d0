// Redirected text on its way to the handle, through a block of 4,096 bytes in the
// console's record. A line feed is written as 13, 10; NULs are left out. Failed
// writes are not reported. Private to the console module.
#pragma once

#include "platform/abi.h"

namespace tarn {

// Adds text to a block that holds `held` bytes, which is written whenever it is
// full. Result: the bytes that it then holds.
std::int32_t stage_redirected(std::int32_t held, const char* text, std::int32_t length);

// Writes what the block holds.
void write_redirected(std::int32_t held);

}  // namespace tarn
