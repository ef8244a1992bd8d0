// Child processes as objects, and exit codes.
#pragma once

#include "platform/platform.h"

namespace tarn::platform {

// What CloseHandle and WaitForSingleObject do for these kinds of object.
Bool close_process(Handle handle);
std::uint32_t wait_for_process(Handle handle, std::uint32_t milliseconds);
Bool close_snapshot(Handle handle);

// What the host keeps of an exit code: the low 8 bits, but never 0 for another
// code, which would hide a failure.
std::uint8_t host_status(std::uint32_t code);

// Sends the whole code to the process that started this one, if it is one of
// this back end.
void send_exit_code(std::uint32_t code);

}  // namespace tarn::platform
