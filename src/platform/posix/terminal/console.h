// The echo of lines that are typed on a quiet terminal.
#pragma once

#include <cstdint>

namespace tarn::platform {

// Echo a character of a line, or its end, and erase cells: at the cursor of the
// screen, if this is its terminal. Result: the number of cells that it took.
int echo_character(int descriptor, std::uint8_t character);
void echo_erasure(int descriptor, int cells);

}  // namespace tarn::platform
