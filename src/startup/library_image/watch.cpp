// The library's DLL starts before the program and its other DLLs, and watches them
// from its own script on. Not in a unit test, which has handlers of its own.

#include "failure/start_faults.h"

namespace {

[[gnu::constructor]] void watch() { tarn::watch_start_up(true); }

}  // namespace
