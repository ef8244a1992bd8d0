#pragma once

namespace crt {

// The names that programs know: __argc, __argv, _environ.
extern int argument_count __asm__("__argc");
extern char** argument_vector __asm__("__argv");
extern char** environment __asm__("_environ");

// Fills them, each string whole.
void read_arguments();

}  // namespace crt
