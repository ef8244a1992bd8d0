// The echo of lines that are typed on a quiet terminal.
#pragma once

#include <cstdint>

namespace tarn::platform {

// The echo of a line's character, or of its end, and of erased cells: at the cursor
// of the screen, if this is its terminal. Result: the cells that it took.
int echo_character(int descriptor, std::uint8_t character);
void echo_erasure(int descriptor, int cells);

}  // namespace tarn::platform
