// What the files of the console share: the terminal's mode, its input, and the
// screen kept of it.
#pragma once

#include <sys/types.h>
#include <termios.h>

#include <cstddef>

#include "platform/posix/base/base.h"

namespace tarn::platform {

// ---- Mode ---------------------------------------------------------------------

// Keeps the flags that the end of the process must put back, those before the
// first change. False if there is no descriptor left to keep them by.
bool remember_terminal(int terminal, const termios& flags);

// Sets the flags of the terminal that is remembered, now and after each stop of the
// process.
bool set_terminal(int terminal, const termios& flags);

// While the cells are in use, what is typed is not echoed until it is read: the
// terminal is quiet. Not in the background, nor while a child process may use the
// terminal. Its device number tells which one is meant.
void quieten_terminal(int terminal);
bool is_quiet(unsigned device);
bool is_quiet_anywhere();

// Whether lines are echoed when they are read, by the program's console mode.
bool echoes_lines(int terminal);

// Around the life of a child process: it finds the echo on.
void lend_terminal();
void take_terminal_back();

// How often the process went on after a stop.
unsigned times_continued();

// From now on restore_terminal is called at every end of the process.
void restore_at_every_end();

// The device number of the terminal behind a descriptor, the same by whatever
// name it was opened; 0 if it is no terminal.
unsigned terminal_device(int descriptor);

// True if the terminal would stop this process for reading from it.
bool in_background(int terminal);

// True if the system tells this process of each change of the terminal's size, as
// it does those in the foreground of their own terminal; note_size is then called.
bool hears_of_size(int terminal);

// All of the bytes, waiting at most this long for a terminal that takes none;
// negative: without end. May be called in a signal handler.
bool write_terminal(int terminal, const char* bytes, std::size_t count, int milliseconds);

// ---- Input --------------------------------------------------------------------

enum class Answer {
  kPlace,   // it is there
  kNone,    // the terminal does not answer
  kNotNow,  // the process may not read from it now, or waits for its keys
};

// Where the terminal's cursor is, from (0, 0). What the user types meanwhile is
// held for the next read.
Answer ask_cursor(int terminal, int reader, int* column, int* row);

// What a read of a descriptor gets that is not the system's to deliver: what is
// held, and lines typed on a quiet terminal. kFailed by errno.
enum class TerminalRead { kNotOurs, kDone, kFailed };
TerminalRead read_terminal(int descriptor, void* buffer, std::size_t size, std::size_t* count);

// A line just read by the system from a terminal that delivers lines ends in 13, 10, as
// those of a console. Result: the count with it. Where `size` has no room for both
// bytes, read_terminal has the second one.
std::size_t end_terminal_line(int descriptor, void* bytes, std::size_t count, std::size_t size);

// Input just read of the terminal is freed of an answer that came too late.
// Result: the count of bytes that are left.
std::size_t drop_late_answer(int descriptor, void* bytes, std::size_t count);

// ---- Screen -------------------------------------------------------------------

// A descriptor by which the screen's terminal is written, from the first use of
// its cells to the end; else -1.
int screen_terminal();

// Bytes that went to the screen's terminal, or came from it with their echo,
// past the operations on cells: the kept cursor follows them.
void follow_output(int descriptor, const void* bytes, std::size_t count);
void follow_echo(int descriptor, const void* bytes, std::size_t count);

// The echo of a line's character, or of its end, and of erased cells: at the cursor
// of the screen, if this is its terminal. Result: the cells that it took.
int echo_character(int descriptor, std::uint8_t character);
void echo_erasure(int descriptor, int cells);

// What is drawn and waits goes out now, before others write or a key is waited for.
// Not if another thread draws.
void send_held_output();

// The descriptor is closed, or may be another file's from now on.
void forget_descriptor(int descriptor);

// The size of the terminal's window may have changed. May be called in a signal
// handler.
void note_size();

// The terminal was used by others, such as a child process: its cursor is
// asked for again and no cell counts as drawn. May be called in a signal handler.
void lose_screen();

// While the screen hides the terminal's cursor: shows it to others, or hides it
// again. May be called in a signal handler.
void show_cursor(bool shown);

// Puts attributes, cursor and title back, and the cursor on a fresh line below
// the output. May be called in a signal handler, and more than once; the next
// use of the cells begins afresh.
void finish_screen();

}  // namespace tarn::platform
