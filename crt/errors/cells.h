// Where each thread's errno is.
#pragma once

namespace crt {

// Before there is a second thread: from now on each thread has its own errno, and the
// run-time locks what threads share.
void begin_threads();

// The calling thread's errno is in `cell`; null as it ends.
void use_cell(int* cell);

}  // namespace crt
