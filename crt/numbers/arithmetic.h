// The program's floating-point control.
#pragma once

namespace crt {

// Sets it for the calling thread to IEEE arithmetic, in which nothing traps. Leaves it as it is
// in a program that was linked with --trap.
void set_arithmetic();

}  // namespace crt
