// How a hosted program runs: between the start-up script, which has brought the
// library up and run the constructors, and the end of the process.
#include <float.h>
#include <stdlib.h>

#include "../crt.h"
#include "arguments.h"

extern "C" {
// 1 in a program that was linked with --trap, whose object comes before the archive.
extern const int tarn_program_traps;
int user_main(int count, char** arguments, char** environment) __asm__("main");
}

namespace crt {

// IEEE arithmetic: nothing traps, and small values lose precision gradually. The
// script has set the suite's arithmetic; each thread begins with this one.
void set_arithmetic() {
  constexpr unsigned kMxcsrAtStart = 0x1F80;
  constexpr unsigned short kX87AtStart = 0x037F;
  if (tarn_program_traps) return;
  __asm__ volatile("fninit\n\tfldcw %0\n\tldmxcsr %1" : : "m"(kX87AtStart), "m"(kMxcsrAtStart));
}

}  // namespace crt

// The constructors have been run by the script.
CRT_API void __main(void) {}

// In the routine table it has the interpreter's name, at which a traceback ends.
CRT_API int tarn_run_program(int, char**) {
  crt::set_arithmetic();
  crt::read_arguments();
  exit(user_main(crt::argument_count, crt::argument_vector, crt::environment));
}

CRT_API void(_fpreset)(void) { crt::set_arithmetic(); }
