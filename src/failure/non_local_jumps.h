// Jumps across frames: setjmp with longjmp for C, LABEL@ with JUMP@ for Fortran.
// Both leave the frames in between as they are. Assembly; the contracts are
// include/setjmp.h and the labels of include/tarn/traps.h.
#pragma once

#include "include/setjmp.h"
#include "include/tarn/traps.h"
