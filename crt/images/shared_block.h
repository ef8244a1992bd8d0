// What the hosted images of a process share though each has a run-time of its own: named
// blocks, which the library lists as common blocks.
#pragma once

#include <stddef.h>

namespace crt {

// Whether this image is the program, and no DLL.
bool is_program();

// The block of that name, or null if no image has made it. It stays until the process ends.
void* find_shared_block(const char* name);

// Makes it, as zeros, if it is not there. Called as images are loaded, which is one after
// the other. `name` has at most 15 characters. Ends the program if there is no memory.
void* shared_block(const char* name, size_t size);

}  // namespace crt
