// Formatted text on the console: as it comes, centred, in a box; and formatted
// text on a handle, past the console. Formats are those of printf
// (streams/format.h).
//
// Limits: text of up to 1,048,576 bytes is shown whole; what is longer, or does
// not fit the storage that there is, is cut to 1,023 bytes. Results count what is
// shown.
//
// Everything here flushes what the console has collected before it writes.
#pragma once

#include "include/tarn/console.h"
#include "platform/abi.h"
