// The image's own TLS callbacks.
#pragma once

#include "../crt.h"

namespace crt {

// Calls them for the calling thread, with one of the reasons of DllMain.
void call_callbacks(DWORD reason);

}  // namespace crt
