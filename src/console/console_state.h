// Overview of the console module: the one record of the console, its start,
// redirection, size and cursor.
//
// The library has a console of its own. It writes the cells of the screen
// itself, has its own cursor, colour, wrapping and pause, and writes plain bytes to
// a handle where there is no screen: it is then "redirected". These work on the
// record:
//
//   line_output.h       bytes to cells or to a file; clearing; the pause
//   console_input.h     one key; lines
//   colour.h            colours and their stack
//   formatted_output.h  printf in every form, centred lines, boxes
//   text_writers.h      plain text on the standard handles
//
// Only this module writes the record. All of it belongs to the process and
// nothing is locked: one thread at a time uses the console.
//
// Results of calls to the system's console are not checked: what a screen refuses
// is not shown, and the program continues. A screen that goes away is such a case; the
// last known size is used.
//
// Routines in capitals with "_at" are exported with an "@": the same for
// compiled Fortran, with arguments by reference.
#pragma once

#include "platform/abi.h"
#include "platform/platform.h"

namespace tarn {

// A handle of the system in 64 bits; -1 is none.
inline constexpr std::int64_t kNoHandle = -1;

inline platform::Handle system_handle(std::int64_t handle) {
  return reinterpret_cast<platform::Handle>(handle);
}

// A saved value: a node of the stack of colours.
struct int_stack {
  std::int32_t value;
  int_stack* next;
};

inline constexpr std::int32_t kLineCells = 256;
inline constexpr std::int32_t kPendingLimit = 255;    // bytes at which pending text is written
inline constexpr std::int32_t kRedirectBlock = 4096;  // bytes at which redirected output is written
inline constexpr std::int32_t kReadBlock = 4096;

// Flags are 0 or not 0. An attribute has the foreground in bits 0 to 3 and the
// background in bits 4 to 7.
struct ConsoleState {
  // ---- Handles ---------------------------------------------------------------
  std::int64_t output_handle = kNoHandle;  // of cells or of redirected bytes
  std::int64_t input_handle = kNoHandle;
  std::int64_t conout_handle = kNoHandle;  // the screen itself, whatever is redirected

  // ---- Modes -----------------------------------------------------------------
  std::int32_t console_initialised;
  std::int32_t redirected;
  std::int32_t buffered;       // text is collected until its line ends
  std::int32_t wrap_mode;      // at the right edge: 1 a new line, 0 mark the cut and drop the rest
  std::int32_t cursor_hidden;  // by CursorControl
  std::int32_t nt_platform;

  // ---- Size and position------------------------------------------------------
  std::int32_t screen_width;   // columns of the visible window
  std::int32_t screen_height;  // rows of the visible window; only reported
  std::int32_t buffer_height;  // rows of the screen's buffer: where scrolling begins
  std::int32_t cursor_x, cursor_y;

  // ---- Colour ----------------------------------------------------------------
  std::int32_t text_attribute;  // of the cells written next
  std::int32_t background;      // 0x00 to 0xF0, at its position in an attribute
  int_stack* colour_stack;
  int_stack* int_stack_free_list;  // freed nodes

  // ---- Pause -----------------------------------------------------------------
  std::int32_t pause_enabled;
  std::int32_t pause_once;       // asked for once: does not arm again by itself
  std::int32_t pause_active;     // the pause line is on the screen
  std::int32_t scroll_count;     // since the last pause
  std::int32_t pause_threshold;  // scrolls at which it pauses

  // ---- Boxes and centred lines -------------------------------------------------
  std::int32_t box_shadow_colour;  // -1: no shadow
  char box_char = static_cast<char>(0xDB);
  std::int32_t centre_shift;         // columns added to the position of a centred line
  std::int32_t clear_before_centre;  // a centred line clears its row first

  // ---- Buffers ---------------------------------------------------------------
  platform::CharInfo line_cells[kLineCells];  // the line being written
  char pending_text[kPendingLimit + 3];
  std::int32_t pending_count;
  char redirect_stage[kRedirectBlock + 2];  // room for a line end after a full block
  platform::CharInfo* clear_buffer;         // a row of spaces, made at its first use
  platform::CharInfo* pause_buffer;         // the row of the pause, likewise
  std::int32_t clear_width;                 // cells of either
  platform::CharInfo clear_cell;

  // ---- Input -----------------------------------------------------------------
  char read_buffer[kReadBlock + 1];  // what was read, and a NUL
  std::int32_t read_pos;             // next byte; -1: nothing read, or the last read failed
  std::int32_t read_len;
  std::int32_t read_end;    // 0 no; -1 a read returned no bytes, not yet reported; 1 permanently
  std::int32_t read_error;  // 1 after a failed read

  // ---- What the screen reported --------------------------------------------------
  platform::ScreenBufferInfo screen;
  platform::ConsoleCursorInfo cursor;
};

extern ConsoleState console;

// What the progress display needs to know of the desktop. Found out at the first
// use and then kept: loading the window libraries takes longer than all
// the rest of a program's start.
struct DesktopFacts {
  std::uint32_t common_controls_version;  // major in the high 16 bits
  std::int32_t slow_machine;
  std::int32_t full_screen_width, full_screen_height;  // pixels
};
const DesktopFacts& desktop_facts();

// ---- Start and redirection ----------------------------------------------------

extern "C" {
// Finds out whether standard output is a screen and takes its size, cursor and
// colour, or else sets the console up as redirected, 80 columns wide; a value
// of TARNLEY_CONSOLE_ENABLED that begins with "0" redirects it in any case.
// Also notes the system's version and memory (process/system_facts.h). Once per process,
// as part of initialisation, after the C streams; later calls return at once.
TARNAPI void __InitialiseConsole();
}

// 1 if output goes to a handle as bytes.
TARNAPI std::int32_t ConsoleRedirected();
TARNAPI std::int32_t CONSOLE_REDIRECTED_at();

// From now on output goes to `handle` as bytes. There is no way back. Text not
// yet written goes there too.
TARNAPI void RedirectConsoleOutput(std::int64_t handle);
TARNAPI void REDIRECT_CONSOLE_OUTPUT_at(const std::int64_t* handle);

// From now on keys and lines come from `handle`. A block already read stays.
TARNAPI void RedirectConsoleInput(std::int64_t handle);
TARNAPI void REDIRECT_CONSOLE_INPUT_at(const std::int64_t* handle);

// Low 32 bits of the standard input (0), output (1) or error (2) handle with
// which the program started; -1 for another number.
TARNAPI std::int32_t _get_console_handle(std::int32_t which);

// ---- Size ----------------------------------------------------------------------

// Columns and rows of the window as it was at the start; 80 and 0 where
// redirected.
TARNAPI std::int32_t ScreenWidth();
TARNAPI std::int32_t ScreenHeight();

// What happens at the right edge: `mode` not 0 begins a new line, 0 shows the
// byte 0xAF in the last column and drops the rest of the text.
TARNAPI void CursorWrapMode(std::int32_t mode);
TARNAPI void SET_CONSOLE_WRAP_MODE_at(const std::int32_t* mode);

// ---- Cursor ----------------------------------------------------------------------
// Columns and rows count from 0. The system takes 16 bits of each.

TARNAPI void SetConsoleCursorPos(std::int32_t x, std::int32_t y);
TARNAPI void SET_CONSOLE_CURSOR_POS_at(const std::int32_t* x, const std::int32_t* y);

// Where the screen's cursor is; 0, 0 where redirected. If the screen does not
// report it, the last position that it reported.
TARNAPI void GetCursorPos(std::int32_t* x, std::int32_t* y);
TARNAPI void GET_CONSOLE_CURSOR_POS_at(std::int32_t* x, std::int32_t* y);

// Height of the cursor in percent of its cell, 1 to 100; the screen ignores
// others. Result: the height before, or 0 where there is no cursor.
TARNAPI std::int32_t SetConsoleCursorSize(std::int32_t size);
TARNAPI std::int32_t SET_CURSOR_SIZE_at(const std::int32_t* size);

// 0 hides the cursor, another value shows it again. A repeated call does nothing.
TARNAPI void CursorControl(std::int32_t on);
TARNAPI void CURSOR_CONTROL_at(const std::int32_t* on);

// Makes the screen's cursor invisible, and restores it as it was, on the
// screen where it was hidden, even if output is redirected by then. A repeated call
// of either does nothing.
TARNAPI void HIDE_CURSOR_at();
TARNAPI void RESTORE_CURSOR_at();

// ---- Stack nodes -------------------------------------------------------------------

// A freed node, the last one first, or a new one. Raises 199, "Run
// out of heap space". Nodes are never freed to the heap.
TARNAPI int_stack* new_int_stack();
// Null: nothing happens.
TARNAPI void discard_int_stack(int_stack* node);

}  // namespace tarn
