// What the host executes for a command line that names a program: a host
// program or script with arguments of its own, /bin/sh for
// "cmd /c TEXT", or the runner of this process for a program image.
#pragma once

#include "platform/posix/base/base.h"

namespace tarn::platform {

// The most that Windows takes, NUL included.
inline constexpr std::size_t kCommandLineSize = 32'767;

struct HostCommand {
  char path[kPathSize];
  char** arguments;  // ends with null; one block, which free gives back
  bool runs_image;   // itself, or by the shell
};

// The name is what stands between double quotes; without them what stands
// before the first blank or tab behind which it names a program. ".exe" is
// added, if it has no dot, and the name as written is tried after that. A name
// without a folder is looked for in the program's folder, the current one and
// those on PATH. False, with the last error, if there is no such program, the
// host may not execute it, or its image is no finished one.
bool read_command(const char* command_line, HostCommand* command);

// Splits by the published rules: blanks and tabs separate, double quotes
// protect them and go away. Before a double quote two backslashes stand for
// one, and a single one makes it part of the text, as does a second double
// quote within protected text. Texts are stored one by one, each with its NUL,
// in at most as many bytes as `text` has with its own. Result: their count.
std::size_t split_arguments(const char* text, char* arguments);

// For a runner, once, before anything of the program has run: what the process
// that started it has left for it to send its exit code by. The program and its
// children do not see it.
void take_exit_socket();

// The option by which tarnrun is given what the program sees as its command
// line; its value is the next argument, and behind it stands the program.
inline constexpr char kCommandLineOption[] = "--command-line";

}  // namespace tarn::platform
