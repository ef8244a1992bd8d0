// Entry points that a debugger makes a stopped thread run. Each asks one thing,
// leaves the result in rax and stops at a breakpoint instruction for the
// debugger to read it. Called otherwise, each ends in a breakpoint exception.
#pragma once

#include "platform/abi.h"

namespace tarn {

extern "C" {
TARNAPI void __debugger_stub_get_last_error();  // eax: GetLastError()
TARNAPI void __debugger_stub_get_fs_info();     // eax: the word at FS:[rax]
TARNAPI void __debugger_stub_get_cursor();      // eax: window under the mouse
TARNAPI void __debugger_stub_get_focus();       // eax: window with the focus
}

}  // namespace tarn
