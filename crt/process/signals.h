// What the ends of a program share with its signals.
#pragma once

#include "../crt.h"

namespace crt {

// Calls the program's handler of SIGABRT, if there is one, with the default in force.
void deliver_abort();

// From now on `routine` is called before each report, on the thread that failed. There is
// one such routine; it may fail itself, and leave that failure by longjmp.
void before_report(void (*routine)());

// Set in C++ images, else null: reports an exception that nobody catches. It does not return.
extern void (*on_uncaught)(EXCEPTION_POINTERS* exception);

}  // namespace crt
