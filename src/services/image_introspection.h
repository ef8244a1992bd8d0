// Looks at the running program: its common blocks, the resource section of its
// main image, and a window. What is displayed goes to standard output.
//
// State: none of its own. One thread at a time.
#pragma once

#include "platform/abi.h"
#include "platform/platform.h"
#include "process/process_state.h"

namespace tarn {

// ---- Common blocks ----------------------------------------------------------

// The list of the blocks that all images have registered, newest first; null if
// there are none. It belongs to the library.
TARNAPI BlockRecord* __get_common_info();

// The same for a debugger: executes `int3` with the head in rax, then returns it.
TARNAPI BlockRecord* __dbgget_common_info();

// A table of the blocks, sorted by name without regard to case: name, address
// and size in hexadecimal, the image that registered it. Only the heading if
// there are none, or no storage to sort them.
TARNAPI void __display_common_info();

// ---- Resources ----------------------------------------------------------------

// Writes the resource section to the file "bracken_resource_block_N" in the
// current folder, N being its place in the image in hexadecimal, after a line
// that says where it is; without resources, says so and makes no file. Run-
// time error 296 if the file cannot be made.
//
// Of a section that the headers put beyond the image or into memory that is not
// there, both routines take the part that can be read.
TARNAPI void __dump_resource_section();

// Prints the section's directories and entries (services/resource_directory.h).
TARNAPI void __display_resource_data();

// ---- Windows --------------------------------------------------------------------

// A message box "Information" that says "Window HANDLE Enabled (text)", or
// Disabled. The text has `length` bytes, of which 127 are shown. Without a
// desktop no window is enabled, and the message goes to standard error.
TARNAPI void DESCRIBE_WINDOW_at(const platform::Handle* window, const char* text,
                                std::int64_t length);

}  // namespace tarn
