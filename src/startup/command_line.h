// From the process's one command line to argc and argv, and the program's
// identity.
//
// Splitting rules: spaces and tabs separate; a slash begins a new argument;
// double and single quotes protect spaces and slashes, and stay in the
// argument; only the program's name loses an enclosing pair of double quotes,
// and is replaced by the full path found by searching, or by the main image's
// own path if nothing is found.
//
// There is no limit but the system's own: every argument is passed whole.
#pragma once

#include "include/tarn/runtime.h"
#include "platform/abi.h"

namespace tarn {

extern "C" {
// Assembly: rcx = argc, rdx = argv, a heap array of argc + 1 pointers to heap
// strings, the last null. Nothing frees them.
TARNAPI void __get_main_arguments();

// What it calls: splits `command_line` and stores argc. Raises 199 if the heap is exhausted.
TARNAPI char** tarn_split_command_line(const char* command_line, std::int32_t* count);
}

}  // namespace tarn
