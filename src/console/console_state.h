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
#pragma once

#include "include/tarn/console.h"
#include "platform/abi.h"
#include "platform/platform.h"

namespace tarn {

// A handle of the system in 64 bits; -1 is none.
inline constexpr std::int64_t kNoHandle = -1;

inline platform::Handle system_handle(std::int64_t handle) {
  return reinterpret_cast<platform::Handle>(handle);
}

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
  tarn_int_stack* colour_stack;
  tarn_int_stack* int_stack_free_list;  // freed nodes

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
  platform::CharInfo* clear_buffer;  // a row of spaces, made at its first use
  platform::CharInfo* pause_buffer;  // the row of the pause, likewise
  std::int32_t clear_width;          // cells of either
  platform::CharInfo clear_cell;

  // ---- Input -----------------------------------------------------------------
  std::int32_t read_pos;  // next byte; -1: nothing read, or the last read failed
  std::int32_t read_len;
  std::int32_t read_end;    // 0 no; -1 a read returned no bytes, not yet reported; 1 permanently
  std::int32_t read_error;  // 1 after a failed read

  // ---- What the screen reported --------------------------------------------------
  platform::ScreenBufferInfo screen;
  platform::ConsoleCursorInfo cursor;

  // ---- Blocks, which a start leaves alone --------------------------------------
  char redirect_stage[kRedirectBlock + 2];  // room for a line end after a full block
  char read_buffer[kReadBlock + 1];         // what was read, and a NUL
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

}  // namespace tarn
