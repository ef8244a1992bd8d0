// Exceptions on their way to a handler: the vectored handlers, then those of the frames,
// by the unwind data of images. A throw is an exception of the program's own; a signal
// comes here as one, too.
#pragma once

#include "platform/platform.h"

namespace tarn::platform {

struct DispatcherContext;

// What runs while a handler does. The walk of an exception that is raised in the handler
// comes by it, and goes on where the first one is.
struct InFlight {
  const AMD_CONTEXT* origin;            // of an exception that looks for a handler
  const DispatcherContext* dispatcher;  // of frames that are being left, or null
};

// Calls the routine with up to four arguments, as part of that.
extern "C" TARNAPI std::int32_t tarn_call_in_flight(Routine routine, const InFlight* in_flight,
                                                    const std::uint64_t* arguments);

// True: the context, which a handler may have changed, is to go on. Else nobody has a
// handler for it.
bool dispatch_exception(ExceptionPointers* exception);

// The vectored handlers, in order; kContinueExecution or kContinueSearch (signals.cpp).
std::int32_t ask_handlers(ExceptionPointers* exception);

// Whether the address lies in code of the host that has unwind data.
bool is_host_code(std::uint64_t address);

// Makes the context of a frame of this executable or a library of the host that of its
// caller; false if there is no way back (stack_walk.cpp).
bool step_over_host_frame(AMD_CONTEXT* context);

}  // namespace tarn::platform
