// The flags of the terminal, and facts about it that the system reports.
#pragma once

#include <termios.h>

#include <cstddef>

namespace tarn::platform {

// Saves the flags that the end of the process must restore, those before the
// first change. False if there is no descriptor left to do it with.
bool remember_terminal(int terminal, const termios& flags);

// Sets the flags of the terminal that is remembered, now and after each stop of the
// process.
bool set_terminal(int terminal, const termios& flags);

// While the cells are in use, what is typed is not echoed until it is read: the
// terminal is quiet. Not in the background, nor while a child process may use the
// terminal. A terminal is named by its device number.
void quieten_terminal(int terminal);
bool is_quiet(unsigned device);
bool is_quiet_anywhere();

// Whether lines are echoed when they are read, by the program's console mode.
bool echoes_lines(int terminal);

// Whether the program ever asked for single bytes instead of lines.
bool lines_were_refused();

// How often the process went on after a stop.
unsigned times_continued();

// From now on restore_terminal is called at every end of the process.
void restore_at_every_end();

// The device number of the terminal that a descriptor has open, the same by
// whatever name it was opened; 0 if it is no terminal.
unsigned terminal_device(int descriptor);

// True if the terminal would stop this process for reading from it.
bool in_background(int terminal);

// True if the system notifies this process of each change of the terminal's size, as
// it does those in the foreground of their own terminal; note_size is then called.
bool hears_of_size(int terminal);

// Writes all of the bytes, waiting at most this long for a terminal that
// accepts none; negative: without end. May be called in a signal handler.
bool write_terminal(int terminal, const char* bytes, std::size_t count, int milliseconds);

}  // namespace tarn::platform
