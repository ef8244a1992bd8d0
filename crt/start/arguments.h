#pragma once

namespace crt {

// The names that programs know: __argc, __argv. They are filled, each string whole, before the
// constructors of the program or DLL run.
extern int argument_count __asm__("__argc");
extern char** argument_vector __asm__("__argv");

}  // namespace crt
