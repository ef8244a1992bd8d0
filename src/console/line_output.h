// Bytes to cells of the screen or to a file; scrolling; the pause at a screenful.
// The contract is "Text" of include/tarn/console.h.
//
// Text goes through two stages. The front stage collects it until its line ends or
// there are 255 bytes; the back stage turns what it receives into cells or into
// bytes for a file. A row is put together in pieces of at most 256 cells. The
// screen's own cursor moves only at the end of a string, and its position decides
// whether the screen scrolls.
#pragma once

#include "include/tarn/console.h"
#include "platform/abi.h"

namespace tarn {

// What the screen gets between the two is shown in one piece, but for a pause, before
// which it sees what there is.
void begin_piece();
void end_piece();

}  // namespace tarn
