// How a hosted program runs: between the start-up script, which has brought the
// library up and run the constructors, and the end of the process.
#include <stdlib.h>

#include "../crt.h"
#include "../numbers/arithmetic.h"
#include "../process/variables.h"
#include "arguments.h"

extern "C" {
int user_main(int count, char** arguments, char** environment) __asm__("main");
}

// The constructors have been run by the script.
CRT_API void __main(void) {}

// In the routine table it has the interpreter's name, at which a traceback ends.
CRT_API int tarn_run_program(int, char**) {
  crt::set_arithmetic();
  exit(user_main(crt::argument_count, crt::argument_vector, crt::environment));
}
