// The process, its children and those of others: the end of a process and the
// exit code that it sends, command lines, the programs that they name. The
// operations themselves are declared in platform/platform.h. State: the command
// line, the records of children, the socket for the exit code.
//
//   current_process   the end of the process, its standard handles
//   command_line      what GetCommandLineA returns
//   program_start     what a command line makes the host execute
//   child_processes   children, their exit codes, waits
//   process_list      the processes of the system
//   open_objects      CloseHandle and DuplicateHandle for every kind of object
//   waits             waits for objects of every kind
//   affinity          the processors of a process
#pragma once

#include "platform/platform.h"

namespace tarn::platform {

// The command line that a program sees: its path in double quotes, then each
// argument after a space, in double quotes if it is empty or has a space or a
// tab. Within an argument that has a double quote, or is in double quotes, a
// double quote gets a backslash, and backslashes before a double quote are
// doubled. Wine does the same. Null if there is no memory; nobody frees it.
char* build_command_line(const char* program, int count, const char* const* arguments);

// What GetCommandLineA returns from now on; not copied. Until then it is made
// from the arguments of the host's process.
void set_command_line(char* command_line);

// The option by which tarnrun is given what the program sees as its command
// line; its value is the next argument, and the program comes after it.
inline constexpr char kCommandLineOption[] = "--command-line";

// As the first argument: a standalone program is to do as tarnrun, with those after it.
inline constexpr char kRunnerOption[] = "--as-tarnrun";

// For a runner, once, before any code of the program has run: takes over the
// means by which it sends its exit code to the process that started it. The
// program and its children do not see them.
void take_exit_socket();

}  // namespace tarn::platform
