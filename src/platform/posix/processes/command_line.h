// The command line that a program sees, made from the arguments that the host
// hands out one by one.
#pragma once

#include "platform/abi.h"

namespace tarn::platform {

// The program's path in double quotes, then each argument behind a blank, in
// double quotes if it is empty or holds a blank or a tab. Within an argument
// that holds a double quote, or stands in them, a double quote gets a
// backslash, and backslashes before a double quote are doubled. Wine makes the
// same of them. Null if there is no memory; nobody frees it.
char* build_command_line(const char* program, int count, const char* const* arguments);

// What GetCommandLineA gives from now on; not copied. Until then it is made of
// the arguments of the host's process.
void set_command_line(char* command_line);

}  // namespace tarn::platform
