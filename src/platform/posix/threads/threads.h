// Threads, events, and what a thread starts with: its floating-point modes, the
// signals that it takes, the stack whose overflow is reported. The operations
// themselves are declared in platform/platform.h. State: the records of threads
// and events, the lowest address of the program's stack.
#pragma once

#include <signal.h>

#include "platform/platform.h"

namespace tarn::platform {

// What CloseHandle and WaitForSingleObject do for these kinds of object.
Bool close_event(Handle handle);
std::uint32_t wait_for_event(Handle handle, std::uint32_t milliseconds);
Bool close_mutex(Handle handle);
std::uint32_t wait_for_mutex(Handle handle, std::uint32_t milliseconds);
Bool close_thread(Handle handle);
std::uint32_t wait_for_thread(Handle handle, std::uint32_t milliseconds);

// The signals of a thread's own faults.
inline constexpr int kFaultSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};

// For the start of a thread: signals that are sent to the process stay with the
// program's threads, while the thread's own faults reach it.
void block_sent_signals(sigset_t* before);

// For the start of a thread that runs the program's code: the modes that Windows
// starts a thread with, instead of those of the thread that makes it. SSE with
// all exceptions masked, x87 with 53 bits.
void set_initial_modes();

// The lowest address of the stack on which the program runs: a fault in the
// guard below it is its overflow. It is 0 until one of these two is called; the
// second makes it that of the calling thread unless it is known already. Only
// find_first_stack may not be called in a signal handler.
void set_stack_low(const void* low);
void find_first_stack();
std::uint64_t stack_low();

}  // namespace tarn::platform
