// What the host executes for a command line that names a program: a host
// program or script with arguments of its own, /bin/sh for
// "cmd /c COMMAND", or the runner of this process for a program image.
#pragma once

#include "platform/posix/base/base.h"

namespace tarn::platform {

// The most that Windows takes, NUL included.
inline constexpr std::size_t kCommandLineSize = 32'767;

struct HostCommand {
  char path[kPathSize];
  char** arguments;  // ends with null; one block, which the caller frees
  bool runs_image;   // itself, or by the shell
};

// The name is what is between double quotes; without them, what comes before
// the first space or tab where that names a program. ".exe" is added if the
// name has no dot, and the name as written is tried after that. A name without
// a folder is looked for in the program's folder, the current one and those on
// PATH. An `application` that is not null is the program, by its whole name, and the
// line has its arguments alone after the first word. False, with the last error, if there is no
// such program, the host may not execute it, or its image is not a finished one.
bool read_command(const char* application, const char* command_line, HostCommand* command);

// Splits by the published rules: spaces and tabs separate, double quotes
// protect them and go away. Before a double quote two backslashes stand for
// one, and a single one makes it part of the argument, as does a second double
// quote within quotes. The arguments are stored one after another, each with its
// NUL, in at most as many bytes as `line` has with its own. Result: their count.
std::size_t split_arguments(const char* line, char* arguments);

}  // namespace tarn::platform
