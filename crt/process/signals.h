// What the ends of a program share with its signals.
#pragma once

namespace crt {

// Calls the program's handler of SIGABRT, if there is one, with the default in force.
void deliver_abort();

}  // namespace crt
