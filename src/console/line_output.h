// Bytes to cells of the screen or to a file; scrolling; the pause at a screenful.
//
// Text goes through two stages. The front stage collects it until its line ends
// (13 or 10) or there are 255 bytes; the back stage turns what it receives
// into cells or into bytes for a file. Text without a line end is not
// visible until FlushConsole or one of its callers, and is lost at the
// program's end without it. The length of a string is in bytes; below 0 it means
// up to the NUL.
//
// On the screen 10 begins a new row, 13 goes back to column 0, 9 fills with
// spaces up to the next multiple of 8 (in the last eight columns it begins a new
// row), 0 ends the text, whatever its length; every other byte is a character of
// the console's code page. A row that becomes full begins a new one, or with
// wrapping off ends in 0xAF and the rest of the text is dropped. A new row below
// the last one of the buffer scrolls the screen. The screen's own cursor moves
// only at the end of a string, and its position decides whether the
// screen scrolls.
//
// On a file 10 becomes 13, 10 and NULs are left out; nothing else happens.
//
// Limits: a row is put together in pieces of at most 256 cells, so screens may be
// wider. What is beyond the columns and rows that 16 bits can name is not shown.
//
// Errors: failed writes are not reported. A first pause or clearing without
// storage raises 199, "Run out of heap space".
#pragma once

#include "platform/abi.h"
#include "platform/platform.h"

namespace tarn {

// ---- Text -----------------------------------------------------------------------

// Front stage. Redirected, the lines of one call are written together.
TARNAPI void output_win32_line(const char* text, std::int32_t length);
TARNAPI void output_win32_char(char character);

// Back stage.
TARNAPI void output_unbuffered_win32_line(const char* text, std::int32_t length);

// Sends what the front stage holds to the back stage.
TARNAPI void FlushConsole();
TARNAPI void FLUSH_CONSOLE_at();

// 0: text goes straight to the back stage, after a flush. Not 0: it is collected.
TARNAPI void ConsoleBufferMode(std::int32_t mode);
TARNAPI void SET_CONSOLE_BUFFER_MODE_at(const std::int32_t* mode);

// ---- Clearing ---------------------------------------------------------------------
// The row of the library's cursor, with spaces of the colour at the first
// clearing. What the front stage holds is dropped; no cursor moves. Redirected,
// nothing happens.

TARNAPI void ClearCurrentLine();  // and cursor_x becomes 0
TARNAPI void ClearToCursorPos();  // the columns left of the cursor
TARNAPI void ClearToEOL();        // the cursor's column and those right of it

// Makes the row of spaces, if there is none.
TARNAPI void setup_clear_buff();

// A flush; then the rows of spaces and of the pause are discarded, so that the
// next use makes them in the colours of that time. Their storage is not
// freed.
TARNAPI void FreeConsoleInstance();

// ---- Pause -------------------------------------------------------------------------

// Not 0: from the moment when the screen has scrolled by its height less 2 since
// the last pause (by its height less 5 from the second pause on), a scroll shows
// "*** PAUSED - Press any key to continue (ESC to quit) ***" in the last row and
// waits for a key. ESC ends the program with code 0. Below 0: once only; a
// further negative mode arms it again, a positive one does not. 0: off, as at
// the start. A screen too narrow for the message shows its beginning. Ignored
// where redirected.
TARNAPI void ConsolePauseMode(std::int32_t mode);
TARNAPI void SET_PAUSE_MODE_at(const std::int32_t* mode);

// Not 0 while the pause waits.
TARNAPI std::int32_t ConsolePaused();

// Takes the pause's row away and shows the cursor again. Without a pause:
// nothing.
TARNAPI void ClearPauseLine();
TARNAPI void CLEAR_PAUSE_LINE_at();

// Shows the pause and waits.
TARNAPI void OutputPauseMessage();

// ---- Rows ----------------------------------------------------------------------------

// Writes `count` cells at the library's cursor; no cursor moves. Null: the line
// being put together, of which there are 256 cells. A count of 0 or less:
// nothing.
TARNAPI void write_linebuff(std::int32_t count, const platform::CharInfo* cells);

// Writes the first *columns cells of the line being put together, goes to the
// start of the next row, and scrolls if there is none. *columns becomes 0.
TARNAPI void PrintNewLine(std::int32_t* columns);

// A newline at the screen's own cursor; the library's is then on the last row.
// Pauses if it is time.
TARNAPI void ScrollScreen();

}  // namespace tarn
