// The calling thread's objects of C++, and what else C++ keeps of it.
#pragma once

namespace crt {

// Destroys the objects, the last one first.
void end_thread_objects();

// Releases what is kept of a thread that ends.
void forget_thread();

}  // namespace crt
