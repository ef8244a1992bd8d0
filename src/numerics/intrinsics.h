// Fortran's elementary intrinsics as routines that can be called by name or
// passed as arguments. The contract is include/tarn/fortran_math.h.
//
// Where a comment says "kernel", the routine of the sibling library with that
// name does the work (paneview/paneview.h): what it raises for arguments
// outside its domain, and its quiet NaN for a NaN, pass through. The others are
// computed here by one x87 or SSE instruction; the x87 ones work in 80-bit
// precision and round once.
//
// No state, no errno; any thread. Complex numbers are {real, imaginary}.
#pragma once

#include "include/tarn/fortran_math.h"
#include "platform/abi.h"
