// What the parts of the hosted C run-time share. It stands between programs that
// were compiled against the cross compiler's own headers and the library:
// TARNLIBC64.DLL for storage and failures, KERNEL32 for files, time and threads.
//
// A routine here has the name, the arguments and the meaning that the headers of
// the cross compiler and ISO C say. What the compiler's own libraries have
// (libmingwex: formatting, numbers, most of the mathematics) is not here.
// Everything may be called on any thread unless its file says otherwise.
#pragma once

#define _CRT_NON_CONFORMING_SWPRINTFS
#define WIN32_LEAN_AND_MEAN
#include <errno.h>
#include <stddef.h>
#include <stdint.h>
#include <windows.h>

#define CRT_API extern "C" __attribute__((used))

namespace crt {

// Sets errno for a code of the system, GetLastError() if none is named. Result:
// -1, for routines that return it.
int fail(DWORD code = GetLastError());
int fail_with(int error);

}  // namespace crt
