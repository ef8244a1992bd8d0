// The screen kept of a terminal: its cells, its cursor, and how its rows lie in
// the terminal's window. One terminal has it at a time, the one used last.
//
// The buffer's size is the window's when the terminal is first looked at. Afterwards
// the user may give the window another size: the buffer gets as many columns, and
// keeps its rows, of which the window shows those around the cursor, as a console
// window does.
//
// Between two operations the terminal has its cursor where the kept one is and
// the attributes of text, so that others can print in between. When they do so by
// WriteFile, the kept cursor follows plain text and its line ends; after anything
// else (other sequences, characters beyond ASCII, input with the system's echo, a stop of
// the process) the terminal is asked for the cursor before the next operation.
#pragma once

#include "platform/posix/base/base.h"
#include "platform/posix/terminal/terminal_writer.h"

namespace tarn::platform {

// Held during every operation below; the same thread may take it again.
class ScreenLock {
 public:
  ScreenLock();
  ~ScreenLock();
  ScreenLock(const ScreenLock&) = delete;
  ScreenLock& operator=(const ScreenLock&) = delete;

 private:
  Unsuspended unsuspended_;
};

struct ScreenState {
  TerminalKind kind;
  Coord size;         // of the buffer, in cells
  Coord window_size;  // of the terminal
  Coord cursor;       // x may be size.x: after a full row
  int top;            // row of the buffer at the window's top; negative if rows
                      // that are no longer in the buffer are above it
  ConsoleCursorInfo cursor_look;
  bool looked_at;                        // by the start-up
  std::uint16_t text = kPlainAttribute;  // in which others print
};

// Makes the terminal of the handle the screen without touching it. Null, with
// the last error, if it is no terminal that can show cells.
ScreenState* select_screen(Handle handle);

// The same for any terminal that the process has: standard output or error, or
// else the controlling terminal.
ScreenState* select_any_screen();

// The descriptor by which the screen was selected last.
int selected_terminal();

// The size of the terminal's window, less the rows taken by others; false, with
// errno, if it has none.
bool window_of(int descriptor, Coord* size);

// True if the cells in use are those of this descriptor's terminal.
bool shows_cells(int descriptor);

// Readies the selected screen for output; false, with the last error.
bool use_screen();

// As use_screen, and the kept cursor and window are up to date.
bool settle_screen();

// Stores the cell; it is drawn by draw_row. The place must be in the buffer.
void set_cell(int column, int row, CharInfo cell);
CharInfo get_cell(int column, int row);
// Draws what the terminal does not show yet of the row's cells from `left` to
// `right`. The terminal's cursor is moved.
void draw_row(int row, int left, int right);
// Moves the kept cursor and, if necessary, the window.
void place_cursor(int column, int row);
// To the start of the next row; on the last one the buffer scrolls.
void next_row();
void set_cursor_look(ConsoleCursorInfo look);
void set_terminal_title(const char* title);
void ring_terminal();
void set_text_attributes(std::uint16_t attributes);
// While held, the next routine sends nothing; what is drawn is sent when the hold
// ends.
void hold_screen(bool hold);
// Sends everything, with the terminal's cursor at the kept one's place; false, with
// the last error, if it did not arrive.
bool flush_screen();

// A descriptor by which the screen's terminal is written, from the first use of
// its cells to the end; else -1.
int screen_terminal();

// Bytes that came from the screen's terminal, with its echo: the kept cursor
// follows them.
void follow_echo(int descriptor, const void* bytes, std::size_t count);

// The three below may be called in a signal handler.

// The size of the terminal's window may have changed.
void note_size();
// While the screen hides the terminal's cursor: shows it to others, or hides it
// again.
void show_cursor(bool shown);
// Puts attributes, cursor and title back, and the cursor on a fresh line below
// the output. May be called more than once; the next use of the cells begins
// afresh.
void finish_screen();

}  // namespace tarn::platform
