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

#include "platform/abi.h"

namespace tarn {

// Result: the length of the text.
TARNAPI std::int32_t ConsolePrintf(const char* format, ...);

// Centres the text on its row, without wrapping: what is too long is cut at the
// right edge. Line ends after it do not count, and are written. With clearing
// before set, the row is cleared, and a string that ends in "\r" leaves the cursor
// at the row's start, ready to be written again. Result: the length without the
// line ends, but 1 for a string that is a line end alone.
TARNAPI std::int32_t ConsolePrintfC(const char* format, ...);

// Not 0: ConsolePrintfC clears its row first. At the start 0.
TARNAPI void ClearPrintfCLine(std::int32_t on);

// Draws the text in a box in the middle of the screen, as wide as its longest
// line up to the screen's width less 6, with a shadow at the right and below.
// `style`: 0 spaces, 1 a single and 2 a double line, 3 to 5 light, middle and
// full blocks; another counts as 1. A `background` or `foreground` of 16 or more
// keeps the colour. Lines are split at "\n", centred and cut; a string of one line
// is cut by the edge of the screen alone. On a screen narrower than the frame
// its rows are cut. Result: the width between the frame's spaces.
TARNAPI std::int32_t ConsoleBoxPrint(std::int32_t style, std::int32_t background,
                                     std::int32_t foreground, const char* format, ...);

// Colour of the shadow, 0 to 15, or -1 for no shadow; others are ignored. At the
// start 0. Result: the one before.
TARNAPI std::int32_t SetBoxShadow(std::int32_t colour);
// Character of the shadow, at the start 0xDB. Result: the one before.
TARNAPI char SetBoxChar(char character);

// Blanks for the middle of `width` columns, then the source up to its NUL.
// `length` is the source's. The destination has room for both.
TARNAPI void centre_line(const char* source, char* destination, std::int32_t length,
                         std::int32_t width);

// Formats and writes to the handle, unchanged, in one piece. Result: the bytes
// written; 0 for the handle -1, without formatting.
TARNAPI std::int32_t __HandlePrintf(std::int64_t handle, const char* format, ...);
// To the screen itself, whether or not output is redirected; 0 where there is
// none.
TARNAPI std::int32_t __ConsolePrintf(const char* format, ...);

// Text as the console takes it, collected until its line ends: NUL-terminated;
// of a length; one character.
TARNAPI void ConsoleWrite(const char* text);
TARNAPI void CONSOLE_WRITE_at(const char* text, std::int64_t length);
TARNAPI void ConsoleWriteChar(char character);
TARNAPI void CONSOLE_WRITE_CHAR_at(const char* character);

}  // namespace tarn
