// The terminal as a console: its mode, its input, the screen kept of it,
// console events, the progress display. The operations on consoles are declared
// in platform/platform.h; here is what the rest of this back end needs when
// files are read and written, children run, and the process ends. State: the
// flags to restore, input that was read ahead, the kept screen.
// ahead, the kept screen.
//
//   terminal_mode     flags, and their restoration at every end of the process
//   terminal_input    keys, lines and answers, by key_decoder
//   screen            the kept cells, drawn by terminal_writer
//   console           the operations on cells, over the screen
//   progress_row      the progress display on the terminal's last row
//   console_events    Ctrl-C and its like
//   code_page         the characters of cells
#pragma once

#include <cstddef>

#include "platform/platform.h"

namespace tarn::platform {

// ---- The life of the process ----------------------------------------------------

// Restores a terminal whose mode was changed, and finishes the screen kept of
// it. May be called in a signal handler, and more than once.
void restore_terminal();

// Called around the life of a child process, which finds the echo on.
void lend_terminal();
void take_terminal_back();

// The terminal was used by others, such as a child process: its cursor is
// asked for again and no cell counts as drawn. May be called in a signal handler.
void lose_screen();

// ---- Reading --------------------------------------------------------------------

// Reads what the system does not deliver for a descriptor: bytes that are held,
// and lines typed on a quiet terminal. kFailed: see errno.
enum class TerminalRead { kNotOurs, kDone, kFailed };
TerminalRead read_terminal(int descriptor, void* buffer, std::size_t size, std::size_t* count);

// For what the system has just read of the descriptor: takes out an answer of
// the terminal that came too late, moves the kept cursor by the echo, and ends
// a line with 13, 10, as those of a console end. Result: the count of bytes
// afterwards. If `size` has no room for both bytes of the line's end,
// read_terminal returns the second one.
std::size_t take_terminal_bytes(int descriptor, void* bytes, std::size_t count, std::size_t size);

// ---- Writing --------------------------------------------------------------------

// Sends drawing that was put off now, before others write or a key is waited
// for. Not if another thread is drawing.
void send_held_output();

// Bytes were written to this descriptor other than by the operations on cells:
// if it is the screen's terminal, the kept cursor follows them.
void follow_output(int descriptor, const void* bytes, std::size_t count);

// The descriptor is closed, or may be another file's from now on.
void forget_descriptor(int descriptor);

// Converts characters of the console's code page to UTF-8, but leaves control
// codes as they are: they act. At most kGlyphBytes per character. Result: the
// count of bytes.
inline constexpr std::size_t kGlyphBytes = 3;
std::size_t to_terminal_text(const std::uint8_t* characters, std::size_t count, char* to);

}  // namespace tarn::platform
