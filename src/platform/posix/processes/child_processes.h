// Child processes as objects, and exit codes.
#pragma once

#include "platform/platform.h"

namespace tarn::platform {

// What CloseHandle and DuplicateHandle do for these kinds of object.
Bool close_process(Handle handle);
Handle duplicate_process(Handle handle);
Bool close_snapshot(Handle handle);

// For a wait: the record lasts until stop_holding, which takes notice of the process's
// end; the descriptor is readable from then on. Null, with the last error, if the
// handle is no process's.
struct Process;
Process* hold_process(Handle handle, int* descriptor);
void stop_holding(Process* process);

// The host's number of the process, which may be the current one; -1, with the last
// error, if the handle is no process's or it has ended.
int host_id(Handle handle);

// What the host keeps of an exit code: the low 8 bits, but never 0 for another
// code, which would hide a failure.
std::uint8_t host_status(std::uint32_t code);

// Sends the whole code to the process that started this one, if it is one of
// this back end.
void send_exit_code(std::uint32_t code);

}  // namespace tarn::platform
