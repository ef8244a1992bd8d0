// The last row of a terminal as a progress display. While it is taken, the
// terminal scrolls only the rows above it: whatever the program prints leaves it
// alone, and for the program the window is one row smaller.
#pragma once

#include "platform/progress_window.h"

namespace tarn::platform {

// Fills `row` with exactly `columns` characters of the OEM code page: the
// percentage at the right end, then as much of the title and the text as there
// is room for, and a bar of up to 20 columns in what is left.
void compose_progress_row(const char* title, const ProgressPicture& picture, int columns,
                          char* row);

// The rows of this terminal that are taken: 1 or 0.
int taken_rows(int descriptor);

// Releases the row. May be called in a signal handler, and more than once.
void give_back_row();

}  // namespace tarn::platform
