// The entry of PANEVIEW64.DLL: there is nothing to start.

#include "platform/abi.h"

extern "C" TARNAPI std::int32_t paneview_entry(void*, std::uint32_t, void*) { return 1; }
